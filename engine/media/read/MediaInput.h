// One local media file, opened for reading packets.
//
// Owns:     the file and the demuxer on it. The demuxer reads through our own descriptor and is
//           refused any other file, so a play-list leads nowhere.
// Threads:  one caller at a time.
// Errors:   E_NOTFOUND without such a file, E_UNSUPPORTED for what is no regular file or holds no
//           media of a known kind; each logged once. std::bad_alloc when memory runs out.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "engine/media/read/AvPointers.h"
#include "kiv/platform/PictureFacts.h"
#include "kiv/values/Export.h"
#include "kiv/values/ResultCodes.h"
#include "kiv/values/ValueTypes.h"

namespace kiv {

class KIV_ENGINE_API MediaInput {
 public:
  static HRESULT Open(const std::string& path, std::unique_ptr<MediaInput>* input);
  ~MediaInput();
  MediaInput(const MediaInput&) = delete;
  MediaInput& operator=(const MediaInput&) = delete;

  AVFormatContext* Context() const { return context_; }
  AVStream* Stream(int stream) const { return context_->streams[stream]; }
  const std::string& Path() const { return path_; }
  int64_t FileSize() const { return fileSize_; }
  // The demuxer has this name among its own, for example "avi".
  bool IsFormat(const char* name) const;

  // Stream numbers of the moving pictures; cover art is none.
  std::vector<int> VideoStreams() const;
  std::vector<int> AudioStreams() const;
  int AudioStreamCount() const { return static_cast<int>(AudioStreams().size()); }
  // Packets of every other stream are dropped by the demuxer.
  void Select(std::span<const int> streams);
  void SelectOnly(int stream) { Select({&stream, 1}); }
  // The times of decoding of all frames that are shown, in units of the stream, when the container
  // holds a table of every packet in the file. They rise.
  std::optional<std::vector<int64_t>> ListedTimes(int stream) const;
  // How far into the file the demuxer has read.
  int64_t Offset() const { return offset_; }
  // The next packet of `stream`; false at the end or when reading fails.
  bool ReadPacket(int stream, AVPacket* packet);
  // The next packet of any selected stream.
  bool ReadAny(AVPacket* packet);

 private:
  explicit MediaInput(const std::string& path) : path_(path) {}

  bool HasFragments() const;
  HRESULT OpenFile();
  HRESULT OpenDemuxer();
  int ProbeStreams();
  static int ReadBytes(void* self, uint8_t* buffer, int size);
  static int64_t SeekBytes(void* self, int64_t offset, int whence);
  static int RefuseFile(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**);
  static int IsOverdue(void* self);

  const std::string path_;
  int descriptor_ = -1;
  int64_t fileSize_ = 0;
  int64_t offset_ = 0;
  AVIOContext* io_ = nullptr;
  AVFormatContext* context_ = nullptr;
  // Opening has a time limit, reading afterwards has none: it ends with the file.
  std::chrono::steady_clock::time_point deadline_ = std::chrono::steady_clock::time_point::max();
};

}  // namespace kiv
