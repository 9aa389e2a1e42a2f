#include "engine/media/MediaFile.h"

#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Logger.h"

namespace kiv {
HRESULT MediaFile::Open(const std::string& path, const IndexReading& reading,
                        std::shared_ptr<MediaFile>* file) {
  std::shared_ptr<MediaFile> opened(new MediaFile(path, reading));
  if (const HRESULT hr = opened->FindStreams(); Failed(hr)) return hr;
  std::shared_ptr<const VideoTrack> track;
  if (const HRESULT hr = opened->Track(0, &track); Failed(hr)) return hr;
  *file = std::move(opened);
  return S_OK;
}

HRESULT MediaFile::FindStreams() {
  const MutexLock lock(lock_);
  if (const HRESULT hr = MediaInput::Open(path_, &first_); Failed(hr)) return hr;
  streams_ = first_->VideoStreams();
  tracks_.resize(streams_.size());
  if (!streams_.empty()) return S_OK;
  KIV_LOG(LogLevel::kFailure, L"MediaFile: %ls: no video in it",
          KivCommon::Char2WChar(path_.c_str()).c_str());
  return E_UNSUPPORTED;
}

HRESULT MediaFile::Track(int32_t number, std::shared_ptr<const VideoTrack>* track) {
  const MutexLock lock(lock_);
  if (number < 0 || static_cast<size_t>(number) >= tracks_.size()) return E_NOTREADY;
  const auto at = static_cast<size_t>(number);
  if (!tracks_[at]) {
    if (const HRESULT hr = MakeTrackLocked(at); Failed(hr)) {
      if (hr == E_ABORT) return hr;
      KIV_LOG(LogLevel::kFailure, L"MediaFile: %ls: video stream %d cannot be decoded, hr %08x",
              KivCommon::Char2WChar(path_.c_str()).c_str(), number, static_cast<unsigned>(hr));
      return hr;
    }
  }
  *track = tracks_[at];
  return S_OK;
}

HRESULT MediaFile::MakeTrackLocked(size_t number) {
  std::unique_ptr<MediaInput> input = std::move(first_);
  if (!input) {
    if (const HRESULT hr = MediaInput::Open(path_, &input); Failed(hr)) return hr;
  }
  auto track = std::make_shared<VideoTrack>();
  track->stream = streams_[number];
  const AVStream& stream = *input->Stream(track->stream);
  track->info = DescribeStream(*input, track->stream);
  track->orientation = OrientationOf(stream);
  track->timeBase = stream.time_base;
  track->decoderName = PreferredDecoder(stream);
  track->parameters = HoldAv(avcodec_parameters_alloc());
  if (avcodec_parameters_copy(track->parameters.get(), stream.codecpar) < 0) {
    throw std::bad_alloc();
  }
  if (track->info.size.width == 0) return E_UNSUPPORTED;
  if (const HRESULT hr = FrameIndex::Open(std::move(input), track->stream, reading_, &track->index);
      Failed(hr)) {
    return hr;
  }
  if (const HRESULT hr = TrimStart(*track); Failed(hr)) return hr;
  track->info.frameRate = track->index->Rate();
  tracks_[number] = std::move(track);
  return S_OK;
}

// A stream that was cut out of a longer one may begin with pictures that refer to lost ones. The
// clip then starts with the first that can be decoded.
HRESULT MediaFile::TrimStart(const VideoTrack& track) const {
  if (!track.index->StartsInsideGroup()) return S_OK;
  std::unique_ptr<PictureReader> reader;
  if (const HRESULT hr = NewReader(track, {}, &reader); Failed(hr)) return hr;
  if (const int32_t packet = reader->FirstDecodable(); packet >= 0) {
    track.index->HideBefore(packet);
  }
  return S_OK;
}

HRESULT MediaFile::NewReader(const VideoTrack& track, const DecoderSettings& settings,
                             std::unique_ptr<PictureReader>* reader) const {
  std::unique_ptr<MediaInput> input;
  if (const HRESULT hr = MediaInput::Open(path_, &input); Failed(hr)) return hr;
  const auto streams = static_cast<int>(input->Context()->nb_streams);
  if (track.stream >= streams) return E_UNSUPPORTED;
  auto feed = std::make_unique<PacketFeed>(std::move(input), track.stream, track.index);
  auto made = std::make_unique<PictureReader>(std::move(feed), track.index);
  DecoderSettings chosen = settings;
  chosen.name = track.decoderName;
  if (const HRESULT hr = made->OpenDecoder(*track.parameters, track.timeBase, chosen); Failed(hr)) {
    return hr;
  }
  *reader = std::move(made);
  return S_OK;
}

}  // namespace kiv
