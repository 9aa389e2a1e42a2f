#include "kiv/cache/VideoReverse.h"

#include <string>
#include <utility>

#include "kiv/base/AtBoundary.h"
#include "kiv/chain/Rates.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/values/Saturate.h"

namespace {

constexpr wchar_t kVideo[] = L".Video";

}  // namespace

CVideoReverse::CVideoReverse(IUnknown* outer, NodeRef upstream)
    : CReverser(outer, std::move(upstream)) {}

void CVideoReverse::ReadSourceInfo(IKivProperties* /*settings*/, IKivProperties* info) {
  int32_t count = 0;
  bool isCounted = false;
  if (info) {
    AtBoundary([&] {
      const std::wstring countKey = std::wstring(KivKey::Source::kSource_TotalFrameCount) + kVideo;
      const std::wstring rateKey = std::wstring(KivKey::Source::kSource_Framerate) + kVideo;
      isCounted = Succeeded(info->GetInt(countKey.c_str(), &count));
      kiv::ReadRate(info, rateKey.c_str(), &sourceRate_);
      return S_OK;
    });
  }
  if (!isCounted && IsFromClipRender()) return;
  total_ = kiv::SaturateToInt32(renderRate_.ToDouble() * count / sourceRate_.ToDouble());
}
