#include "session/KeyframeFile.h"

#include <algorithm>
#include <vector>

#include "kiv/platform/KivCommon.h"
#include "kiv/values/Saturate.h"
#include "session/Fail.h"
#include "session/Settings.h"

namespace kiv::session {
namespace {

constexpr wchar_t kName[] = L"Keyframes";
constexpr wchar_t kTextKey[] = L"Keyframes.Serialize";
constexpr wchar_t kSizeKey[] = L"Keyframes.Serialize.Size";
// Six decimals round: the sum of two edges may end this much beyond the picture.
constexpr double kRoundingOfEdges = 2e-6;

void LoadDocument(const std::string& path, IKivKeyFrameParam& keyframes) {
  const std::wstring text = KivCommon::Char2WChar(ReadTextFile(path, "the keyframes").c_str());
  const KivPropDecorator bag = KivCommon::CreateProperties();
  if (!bag) FailRun("no memory for the keyframes");
  bag->SetString(kTextKey, text.c_str());
  bag->SetInt(kSizeKey, kiv::ClampToInt32(static_cast<int64_t>(text.size()) + 1));
  if (!keyframes.Load(kName, bag.Reference())) {
    FailRun("cannot read the keyframes '{}': it is no keyframe document (see docs/keyframes.md)",
            path);
  }
  if (keyframes.GetKeyFrameCount() == 0) {
    FailRun("cannot read the keyframes '{}': it has no keyframes", path);
  }
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

}  // namespace

KeyFrameKind LoadKeyframes(const std::string& path, IKivKeyFrameParam& keyframes) {
  LoadDocument(path, keyframes);
  if (Arrange<KeyFrameRectF>(keyframes)) return KeyFrameKind::kRectF;
  if (Arrange<KeyFrameDouble>(keyframes)) return KeyFrameKind::kDouble;
  FailRun("cannot read the keyframes '{}': their values are not all KivRectF or all double", path);
}

bool IsRegion(const KivRectF& region) {
  return region.left >= 0 && region.top >= 0 && region.width > 0 && region.height > 0 &&
         region.left + region.width <= 1 + kRoundingOfEdges &&
         region.top + region.height <= 1 + kRoundingOfEdges;
}

void LoadRegions(const std::string& path, IKivKeyFrameParam& keyframes) {
  if (LoadKeyframes(path, keyframes) != KeyFrameKind::kRectF) {
    FailRun("cannot crop by the keyframes '{}': their values are numbers, not KivRectF", path);
  }
  KeyFrameRectF frame;
  for (int32_t i = 0; keyframes.GetKeyFrameAt(i, &frame); ++i) {
    if (IsRegion(frame.value)) continue;
    FailRun(
        "cannot crop by the keyframes '{}': the region at frame {} does not lie inside the "
        "picture, whose edges are 0 and 1",
        path, frame.index);
  }
}

}  // namespace kiv::session
