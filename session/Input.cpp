#include "session/Input.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <numeric>
#include <system_error>

#include "engine/base/CountedObject.h"
#include "kiv/platform/KivCommon.h"
#include "session/Convert.h"
#include "session/Fail.h"
#include "session/Notes.h"
#include "session/Progress.h"

namespace kiv::session {
namespace {

std::wstring Wide(const std::string& text) { return KivCommon::Char2WChar(text.c_str()); }

// Passes on how far a file is read. What the host throws waits until the reading has ended.
class OpenReport final : public kiv::CountedObject<IKivOpenProgress> {
 public:
  explicit OpenReport(const ProgressFunction& function) : function_(function) {}

  HRESULT OnRead(int64_t bytes, int64_t ofBytes) override {
    total_ = ofBytes;
    try {
      if (!function_ || function_({Stage::kOpening, bytes, ofBytes})) return S_OK;
      wasCancelled_ = true;
    } catch (...) {
      thrown_ = std::current_exception();
    }
    return E_ABORT;
  }
  void Finish() {
    if (thrown_) std::rethrow_exception(thrown_);
    if (wasCancelled_) throw SessionError(ErrorCode::kCancelled, "cancelled");
    if (total_ > 0) Report(function_, {Stage::kOpening, total_, total_});
  }

 private:
  const ProgressFunction& function_;
  int64_t total_ = 0;
  bool wasCancelled_ = false;
  std::exception_ptr thrown_;
};

KivComPtr<IKivMediaSource> OpenSource(const std::string& path, const char* what,
                                      const ProgressFunction& onOpening) {
  const auto factory = KivCommon::GetFactory(nullptr);
  if (!factory) FailRun("cannot open {} '{}': there is no media factory", what, path);
  KivComPtr<IKivMediaSource> source;
  const KivPropDecorator options = KivCommon::CreateProperties();
  if (!options) Fail(ErrorCode::kNoMemory, "no memory for opening {} '{}'", what, path);
  const auto report = KivComPtr<OpenReport>::Adopt(new OpenReport(onOpening));
  options->SetObject(kOpenProgressOption, report.Get());
  const HRESULT hr = factory->OpenMediaFile(source.Put(), Wide(path).c_str(), options.Get());
  report->Finish();
  if (Failed(hr) || !source) {
    const bool isUnsupported = hr == E_UNSUPPORTED;
    Fail(isUnsupported ? ErrorCode::kUnsupported : ErrorCode::kDamaged,
         "cannot open {} '{}': {} (result {:08x})", what, path,
         isUnsupported ? "it has no video that can be decoded" : "it is damaged or no media file",
         static_cast<uint32_t>(hr));
  }
  return source;
}

KivRational Reduced(int64_t numerator, int64_t denominator) {
  const int64_t divisor = std::gcd(numerator, denominator);
  return {numerator / divisor, denominator / divisor};
}

}  // namespace

void CheckFile(const std::string& path, const char* what) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    Fail(ErrorCode::kNotFound, "cannot open {} '{}': {}", what, path,
         std::generic_category().message(errno));
  }
  if (!S_ISREG(status.st_mode)) {
    Fail(ErrorCode::kUnsupported, "cannot open {} '{}': it is not a regular file", what, path);
  }
  if (status.st_size == 0) {
    Fail(ErrorCode::kDamaged, "cannot open {} '{}': the file is empty", what, path);
  }
  if (KivCommon::WChar2Char(Wide(path).c_str()) != path) {
    Fail(ErrorCode::kUnsupported, "cannot open {} '{}': its name is not valid UTF-8", what, path);
  }
}

OpenedInput OpenInput(const std::string& path, const char* what, const NoteFunction& onNote,
                      const ProgressFunction& onOpening) {
  CheckFile(path, what);
  const auto source = OpenSource(path, what, onOpening);
  OpenedInput input;
  const HRESULT hr = source->GetVideoStream(0, input.decoder.Put());
  if (Failed(hr) || !input.decoder) {
    Fail(ErrorCode::kUnsupported, "cannot open {} '{}': it has no video stream that can be decoded",
         what, path);
  }
  input.streamInfo = input.decoder.As<IKivStreamInfo>();
  if (!input.streamInfo || Failed(input.streamInfo->GetInfo(&input.info))) {
    Fail(ErrorCode::kDamaged, "cannot open {} '{}': its video stream cannot be described", what,
         path);
  }
  if (input.info.frameCount < 1 || input.info.size.width < 1 || input.info.size.height < 1) {
    Fail(ErrorCode::kDamaged, "cannot open {} '{}': its video stream has no pictures", what, path);
  }
  if (const int32_t missing = input.info.picturesBeyondEnd; missing > 0) {
    Tell(onNote, "warning: '{}' is cut off: {} of its pictures reach beyond its end", path,
         missing);
  }
  return input;
}

KivRational OutputSampleAspect(const KivStreamInfo& info, KivSize size) {
  const KivRational& aspect = info.sampleAspect;
  if (aspect.numerator <= 0 || aspect.denominator <= 0) return {1, 1};
  const int64_t across = int64_t{info.size.width} * size.height;
  const int64_t along = int64_t{info.size.height} * size.width;
  // Within the rounding of a scaled side the shape is the same.
  if (std::llabs(across - along) <= std::max(info.size.width, info.size.height)) return aspect;
  const KivRational shape = Reduced(across, along);
  return Reduced(aspect.numerator * shape.numerator, aspect.denominator * shape.denominator);
}

MediaInfo InfoOf(const KivStreamInfo& stream) {
  MediaInfo info;
  info.container = stream.container;
  info.codec = stream.codec;
  info.size = FromKiv(stream.size);
  info.codedSize = FromKiv(stream.codedSize);
  info.sampleAspect = FromKiv(stream.sampleAspect);
  info.rotation = stream.rotation;
  info.frameRate = FromKiv(stream.frameRate);
  info.hasConstantRate = stream.constantRate != 0;
  info.frameCount = stream.frameCount;
  info.duration = stream.duration;
  info.colourMatrix = stream.colourMatrix;
  info.colourRange = stream.colourRange;
  info.pixelFormat = stream.pixelFormat;
  info.bitDepth = stream.bitDepth;
  info.hasAlpha = stream.hasAlpha != 0;
  info.audioStreams = stream.audioStreams;
  return info;
}

std::vector<int32_t> KeyFramesOf(IKivStreamInfo& stream, int32_t frameCount) {
  std::vector<int32_t> frames;
  for (int32_t i = 0; i < frameCount; ++i) {
    int32_t isKey = 0;
    if (Succeeded(stream.GetFrameTime(i, nullptr, nullptr, &isKey)) && isKey != 0) {
      frames.push_back(i);
    }
  }
  return frames;
}

MediaInfo ReadMediaInfo(const std::string& path, const NoteFunction& onNote,
                        const ProgressFunction& onOpening) {
  const OpenedInput input = OpenInput(path, "the input", onNote, onOpening);
  MediaInfo info = InfoOf(input.info);
  info.keyFrames = KeyFramesOf(*input.streamInfo.Get(), info.frameCount);
  return info;
}

}  // namespace kiv::session
