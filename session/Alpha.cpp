#include "session/Alpha.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "kiv/chain/IKivRender.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/KivCommon.h"
#include "session/Fail.h"
#include "session/Frames.h"
#include "session/Input.h"

namespace kiv::session {
namespace {

namespace Key = KivKey::AlphaVideo;

__extension__ using Wide = __int128;

constexpr size_t kPathCapacity = AlphaVideoSettings::kPathCapacity;

// Absolute, so that the settings can be loaded from another folder. UTF-16 counts in the record.
std::wstring StoredPath(const char* option, const std::string& path) {
  std::error_code ignored;
  const auto whole = std::filesystem::absolute(path, ignored);
  std::wstring text = KivCommon::Char2WChar((whole.empty() ? path : whole.string()).c_str());
  const auto pairs = std::count_if(text.begin(), text.end(), [](wchar_t c) { return c > 0xFFFF; });
  if (text.size() + static_cast<size_t>(pairs) >= kPathCapacity) {
    FailUsage("{}: the path has more than {} characters: '{}'", option, kPathCapacity - 1, path);
  }
  return text;
}

std::string PathIn(IKivProperties* settings, const wchar_t* key) {
  wchar_t text[kPathCapacity] = {};
  settings->GetString(key, text, static_cast<int32_t>(kPathCapacity));
  return KivCommon::WChar2Char(text);
}

int32_t IntIn(IKivProperties* settings, const wchar_t* key) {
  int32_t value = 0;
  settings->GetInt(key, &value);
  return value;
}

void StoreFill(const AlphaOptions& alpha, IKivProperties* settings) {
  if (alpha.colour || alpha.gradient) {
    settings->SetInt(Key::kAlphaVideo_CanChangeColor, 1);
    settings->SetInt(Key::kAlphaVideo_FillType, alpha.gradient ? 1 : 0);
  }
  if (alpha.colour) settings->SetInt(Key::kAlphaVideo_SingleColor, *alpha.colour);
  if (alpha.gradient) {
    settings->SetInt(Key::kAlphaVideo_GradientColor1, alpha.gradient->first);
    settings->SetInt(Key::kAlphaVideo_GradientColor2, alpha.gradient->second);
    settings->SetDouble(Key::kAlphaVideo_GradientAngle, alpha.gradient->angle);
  }
  if (alpha.image.empty()) return;
  settings->SetInt(Key::kAlphaVideo_CanChangeColor, 0);
  settings->SetString(Key::kAlphaVideo_ImageFilepath,
                      StoredPath("--alpha-image", alpha.image).c_str());
}

void StoreTiming(const AlphaOptions& alpha, IKivProperties* settings) {
  if (alpha.duration) settings->SetDouble(Key::kAlphaVideo_VideoDuration, *alpha.duration);
  if (alpha.pause) settings->SetDouble(Key::kAlphaVideo_VideoPauseTime, *alpha.pause);
  if (alpha.loop) settings->SetInt(Key::kAlphaVideo_LoopCount, *alpha.loop);
}

void CheckStored(IKivProperties* settings) {
  if (IntIn(settings, Key::kAlphaVideo_FullHD) == 1) {
    const std::string mask = PathIn(settings, Key::kAlphaVideo_FullHDDataFilepath);
    if (!mask.empty()) OpenInput(mask, "the mask");
  }
  if (!FillsWithImage(settings)) return;
  const std::string image = PathIn(settings, Key::kAlphaVideo_ImageFilepath);
  CheckFile(image, "the fill image");
  if (!KivCommon::ImageFunc::CreateBitmapFromFile(KivCommon::Char2WChar(image.c_str()).c_str())) {
    Fail(ErrorCode::kDamaged,
         "cannot use the fill image '{}': it is damaged, too large or no picture", image);
  }
}

}  // namespace

const char* AlphaOptions::FirstGiven() const {
  const std::pair<bool, const char*> given[] = {{colour.has_value(), "--alpha-color"},
                                                {gradient.has_value(), "--alpha-gradient"},
                                                {!image.empty(), "--alpha-image"},
                                                {!fullHd.empty(), "--alpha-full-hd"},
                                                {duration.has_value(), "--alpha-duration"},
                                                {pause.has_value(), "--alpha-pause"},
                                                {loop.has_value(), "--alpha-loop"},
                                                {length.has_value(), "--alpha-length"},
                                                {!over.empty(), "--over"}};
  for (const auto& [isGiven, option] : given) {
    if (isGiven) return option;
  }
  return nullptr;
}

bool FillsWithImage(IKivProperties* settings) {
  return IntIn(settings, Key::kAlphaVideo_PresetVideo) != 0 &&
         IntIn(settings, Key::kAlphaVideo_CanChangeColor) == 0 &&
         !PathIn(settings, Key::kAlphaVideo_ImageFilepath).empty();
}

bool StoreAlpha(const ClipOptions& options, IKivProperties* settings) {
  const AlphaOptions& alpha = options.alpha;
  if (alpha.preset) settings->SetInt(Key::kAlphaVideo_PresetVideo, 1);
  if (IntIn(settings, Key::kAlphaVideo_PresetVideo) == 0) {
    if (const char* const option = alpha.FirstGiven()) FailUsage("{} needs --alpha-preset", option);
    return false;
  }
  StoreFill(alpha, settings);
  if (!alpha.fullHd.empty()) {
    settings->SetInt(Key::kAlphaVideo_FullHD, 1);
    settings->SetString(Key::kAlphaVideo_FullHDDataFilepath,
                        StoredPath("--alpha-full-hd", alpha.fullHd).c_str());
  }
  StoreTiming(alpha, settings);
  CheckStored(settings);
  return true;
}

bool SupplyDuration(const KivStreamInfo& info, IKivProperties* settings) {
  double given = 0;
  if (Succeeded(settings->GetDouble(Key::kAlphaVideo_VideoDuration, &given))) return false;
  settings->SetDouble(Key::kAlphaVideo_VideoDuration,
                      info.frameCount / SourceRate(info).ToDouble());
  return true;
}

void RemoveDuration(IKivProperties* settings) {
  const auto entries = KivComPtr<IKivProperties>(settings).As<IKivPropertyList>();
  entries->Remove(Key::kAlphaVideo_VideoDuration);
}

AlphaLength LengthFor(int32_t wanted, const Playback& playback, const KivStreamInfo& info) {
  constexpr int64_t kMost = KivCommon::Const::FRAMEINDEX_MAX - 1;
  if (wanted == 0) {
    const int64_t last = std::min(RatedTotal(playback, info), kMost) - 1;
    return {info.frameCount, {0, static_cast<int32_t>(last)}, 0};
  }
  const KivRational from = SourceRate(info);
  const KivRational& to = playback.frameRate;
  const KivRational& speed = playback.speed;
  // Both quotients of rates are below 10^12, so products of two and a count fit.
  const Wide up = Wide{to.numerator} * from.denominator;
  const Wide down = Wide{to.denominator} * from.numerator;
  const auto roundedUp = [](Wide dividend, Wide divisor) {
    return (dividend + divisor - 1) / divisor;
  };
  const Wide rated = roundedUp(Wide{wanted} * speed.numerator, speed.denominator);
  const Wide frames = roundedUp(rated * down, up);
  if (rated > kMost || frames > kMost)
    FailUsage("the result needs more frames than can be counted");
  return {static_cast<int32_t>(frames), {0, static_cast<int32_t>(rated) - 1}, wanted};
}

KivComPtr<IKivFrame> PreparedImage(IKivVideoStreamProcessInternal& process) {
  KivComPtr<IKivSourceBase> tail;
  process.GetTailNode(&tail);
  process.SetAlphaVideoImageFill(1);
  tail->Seek(0, nullptr, static_cast<int32_t>(KivSeekMode::kSingle));
  int32_t status = 0;
  const KivComPtr<IKivFrame> frame = tail->GetCurrentFrame(&status);
  if (!KivCommon::ReadPixels(frame.Get())) FailRun("the fill image could not be prepared");
  auto image = CopyOf(*frame);
  process.SetAlphaVideoImageFill(0);
  tail->Flush();  // nodes above may keep pictures
  return image;
}

}  // namespace kiv::session
