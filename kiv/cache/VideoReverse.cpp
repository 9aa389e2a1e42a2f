#include "kiv/cache/VideoReverse.h"

#include <string>
#include <utility>

#include "kiv/base/AtBoundary.h"
#include "kiv/chain/Rates.h"
#include "kiv/platform/FullKeys.h"
#include "kiv/values/Saturate.h"

CVideoReverse::CVideoReverse(IUnknown* outer, NodeRef upstream)
    : CReverser(outer, std::move(upstream)) {}

void CVideoReverse::ReadSourceInfo(IKivProperties* /*settings*/, IKivProperties* info) {
  int32_t count = 0;
  bool isCounted = false;
  if (info) {
    AtBoundary([&] {
      const std::wstring countKey = KivKey::OfVideo(KivKey::Source::kSource_TotalFrameCount);
      const std::wstring rateKey = KivKey::OfVideo(KivKey::Source::kSource_Framerate);
      isCounted = Succeeded(info->GetInt(countKey.c_str(), &count));
      kiv::ReadRate(info, rateKey.c_str(), &sourceRate_);
      return S_OK;
    });
  }
  if (!isCounted && IsFromClipRender()) return;
  total_ = kiv::SaturateToInt32(renderRate_.ToDouble() * count / sourceRate_.ToDouble());
}
