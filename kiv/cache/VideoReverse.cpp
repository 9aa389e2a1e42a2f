#include "kiv/cache/VideoReverse.h"

#include <string>
#include <utility>

#include "kiv/base/AtBoundary.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/values/Saturate.h"

namespace {

constexpr wchar_t kVideo[] = L".Video";

}  // namespace

CVideoReverse::CVideoReverse(IUnknown* outer, NodeRef upstream)
    : CReverser(outer, std::move(upstream)) {}

void CVideoReverse::ReadSourceInfo(IKivProperties* /*settings*/, IKivProperties* info) {
  int32_t count = 0;
  if (info) {
    AtBoundary([&] {
      const std::wstring countKey = std::wstring(KivKey::Source::kSource_TotalFrameCount) + kVideo;
      const std::wstring rateKey = std::wstring(KivKey::Source::kSource_Framerate) + kVideo;
      info->GetInt(countKey.c_str(), &count);
      return info->GetRational(rateKey.c_str(), &sourceRate_);
    });
  }
  total_ = kiv::SaturateToInt32(renderRate_.ToDouble() * count / sourceRate_.ToDouble());
}
