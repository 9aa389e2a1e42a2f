// An opened media file: what every decoder of its streams shares.
//
// Owns:     a description and a frame index for each video stream, made when first asked for.
// Threads:  any.
// Locks:    one, held while a stream is opened; taken before the indices'.
// Errors:   those of MediaInput; E_NOTREADY for a stream that is not there; E_UNSUPPORTED for one
//           without frames or with pictures too large. std::bad_alloc when memory runs out.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "engine/media/StreamDescription.h"
#include "engine/media/read/FrameIndex.h"
#include "engine/media/read/PictureReader.h"
#include "kiv/base/Mutex.h"
#include "kiv/values/Export.h"

namespace kiv {

// A video stream, ready to be decoded. Never changes once made.
struct VideoTrack {
  int stream = 0;
  KivStreamInfo info;
  Orientation orientation;
  AvPtr<AVCodecParameters> parameters;
  AVRational timeBase{1, 1000};
  std::string decoderName;
  std::shared_ptr<FrameIndex> index;
};

class KIV_ENGINE_API MediaFile {
 public:
  static HRESULT Open(const std::string& path, const IndexReading& reading,
                      std::shared_ptr<MediaFile>* file);

  const std::string& Path() const { return path_; }
  HRESULT Track(int32_t number, std::shared_ptr<const VideoTrack>* track);
  // A reader of its own position and memory.
  HRESULT NewReader(const VideoTrack& track, const DecoderSettings& settings,
                    std::unique_ptr<PictureReader>* reader) const;

 private:
  MediaFile(const std::string& path, const IndexReading& reading)
      : path_(path), reading_(reading) {}

  HRESULT FindStreams();
  HRESULT MakeTrackLocked(size_t number) KIV_REQUIRES(lock_);
  HRESULT TrimStart(const VideoTrack& track) const;

  const std::string path_;
  const IndexReading reading_;
  Mutex lock_;
  // From opening; the first index takes it over.
  std::unique_ptr<MediaInput> first_ KIV_GUARDED_BY(lock_);
  std::vector<int> streams_ KIV_GUARDED_BY(lock_);
  std::vector<std::shared_ptr<const VideoTrack>> tracks_ KIV_GUARDED_BY(lock_);
};

}  // namespace kiv
