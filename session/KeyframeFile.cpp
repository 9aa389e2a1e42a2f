#include "session/KeyframeFile.h"

#include <algorithm>
#include <vector>

#include "kiv/platform/FullKeys.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/CKivValue.h"
#include "kiv/values/Saturate.h"
#include "session/Fail.h"
#include "session/Settings.h"

namespace kiv::session {
namespace {

constexpr wchar_t kName[] = L"Keyframes";
// Six decimals round: the sum of two edges may end this much beyond the picture.
constexpr double kRoundingOfEdges = 2e-6;

// A document and what its reader calls it.
struct Source {
  std::string name;
  std::wstring text;
};

Source SourceAt(const std::string& path) {
  return {fmt::format("the keyframes '{}'", path),
          KivCommon::Char2WChar(ReadTextFile(path, "the keyframes").c_str())};
}

void LoadDocument(const Source& source, IKivKeyFrameParam& keyframes) {
  const KivPropDecorator bag = KivCommon::CreateProperties();
  if (!bag) Fail(ErrorCode::kNoMemory, "no memory for the keyframes");
  bag->SetString(KivKey::DocumentOf(kName).c_str(), source.text.c_str());
  bag->SetInt(KivKey::DocumentSizeOf(kName).c_str(),
              kiv::ClampToInt32(static_cast<int64_t>(source.text.size()) + 1));
  if (keyframes.Load(kName, bag.Reference())) return;
  Fail(ErrorCode::kDamaged, "cannot read {}: it is no keyframe document (see docs/keyframes.md)",
       source.name);
}

// False when a keyframe holds another kind of value.
template <typename Record>
bool Arrange(IKivKeyFrameParam& keyframes) {
  std::vector<Record> records(static_cast<size_t>(keyframes.GetKeyFrameCount()));
  int32_t position = 0;
  for (Record& record : records) {
    if (!keyframes.GetKeyFrameAt(position++, &record)) return false;
  }
  std::stable_sort(records.begin(), records.end(),
                   [](const Record& a, const Record& b) { return a.index < b.index; });
  records.erase(std::unique(records.begin(), records.end(),
                            [](const Record& a, const Record& b) { return a.index == b.index; }),
                records.end());
  keyframes.RemoveAllKeyFrames();
  for (const Record& record : records) keyframes.AddKeyFrame(&record);
  return true;
}

KeyFrameKind ArrangeKeyframes(const Source& source, IKivKeyFrameParam& keyframes) {
  if (keyframes.GetKeyFrameCount() == 0)
    Fail(ErrorCode::kDamaged, "cannot read {}: it has no keyframes", source.name);
  if (Arrange<KeyFrameRectF>(keyframes)) return KeyFrameKind::kRectF;
  if (Arrange<KeyFrameDouble>(keyframes)) return KeyFrameKind::kDouble;
  Fail(ErrorCode::kDamaged, "cannot read {}: their values are not all KivRectF or all double",
       source.name);
}

void ArrangeRegions(const Source& source, IKivKeyFrameParam& keyframes) {
  if (ArrangeKeyframes(source, keyframes) != KeyFrameKind::kRectF) {
    Fail(ErrorCode::kUnsupported, "cannot crop by {}: their values are numbers, not KivRectF",
         source.name);
  }
  KeyFrameRectF frame;
  for (int32_t i = 0; keyframes.GetKeyFrameAt(i, &frame); ++i) {
    if (IsRegion(frame.value)) continue;
    Fail(ErrorCode::kDamaged,
         "cannot crop by {}: the region at frame {} does not lie inside the picture, whose edges "
         "are 0 and 1",
         source.name, frame.index);
  }
}

}  // namespace

KeyFrameKind LoadKeyframes(const std::string& path, IKivKeyFrameParam& keyframes) {
  const Source source = SourceAt(path);
  LoadDocument(source, keyframes);
  return ArrangeKeyframes(source, keyframes);
}

bool IsRegion(const KivRectF& region) {
  return region.left >= 0 && region.top >= 0 && region.width > 0 && region.height > 0 &&
         region.left + region.width <= 1 + kRoundingOfEdges &&
         region.top + region.height <= 1 + kRoundingOfEdges;
}

void LoadRegions(const std::string& path, IKivKeyFrameParam& keyframes) {
  const Source source = SourceAt(path);
  LoadDocument(source, keyframes);
  ArrangeRegions(source, keyframes);
}

bool LoadStoredRegions(const std::string& path, const wchar_t* key, IKivProperties* settings,
                       IKivKeyFrameParam& keyframes) {
  const KivComPtr<IKivProperties> bag(settings);
  const auto entries = bag.As<IKivPropertyList>();
  Source source{fmt::format("the crop keyframes in the settings '{}'", path), {}};
  CKivValue text, size;
  const bool hasText = Succeeded(entries->GetValue(KivKey::DocumentOf(key).c_str(), &text));
  const bool hasSize = Succeeded(entries->GetValue(KivKey::DocumentSizeOf(key).c_str(), &size));
  if (!hasText && !hasSize) return false;
  if (!hasText)
    Fail(ErrorCode::kDamaged, "cannot read {}: their length is there, their text is not",
         source.name);
  if (text.GetValue(&source.text) != 0)
    Fail(ErrorCode::kDamaged, "cannot read {}: they are no text", source.name);
  LoadDocument(source, keyframes);
  if (keyframes.GetKeyFrameCount() == 0) return false;
  ArrangeRegions(source, keyframes);
  return true;
}

}  // namespace kiv::session
