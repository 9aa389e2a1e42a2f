#include "kiv/cache/VideoFrameCache.h"

#include <string>
#include <utility>

#include "kiv/base/AtBoundary.h"
#include "kiv/platform/FrameFacts.h"
#include "kiv/platform/FullKeys.h"
#include "kiv/platform/Logger.h"

using SimpleSync::CSimpleMutexLock;

namespace {

HRESULT NewFrame(const KivSize& size, KivCGMemoryType type, KivComPtr<IKivFrame>* frame) {
  const HRESULT hr = kiv::MakeFrame(size, type, frame);
  if (Failed(hr)) {
    KIV_LOG(LogLevel::kCreation, L"Failed to create cached frame, size(%d, %d), hr %08x",
            size.width, size.height, static_cast<uint32_t>(hr));
  }
  return hr;
}

}  // namespace

CVideoFrameCache::CVideoFrameCache(IUnknown* outer, NodeRef upstream)
    : CFrameCache(outer, std::move(upstream)) {}

CVideoFrameCache::~CVideoFrameCache() { EndTasks(); }

void CVideoFrameCache::GetSpareFrame(KivComPtr<IKivFrame>* spare, IKivFrame* source) {
  const KivSize size = kiv::SizeOf(*source);
  {
    CSimpleMutexLock guard(mapLock_);
    *spare = store_.TakeSpare(size);
  }
  if (!*spare) NewFrame(size, KivCGMemoryType::kCached, spare);
}

HRESULT CVideoFrameCache::CopyToOutput(IKivFrame* source) {
  const KivSize size = kiv::SizeOf(*source);
  if (!output_ || kiv::SizeOf(*output_) != size) {
    output_.Reset();
    const HRESULT hr = NewFrame(size, KivCGMemoryType::kDownstream, &output_);
    if (Failed(hr)) return hr;
    OnOutputFrameCreated();
  }
  return output_->CopyFrom(source);
}

HRESULT CVideoFrameCache::Initialize(KivComPtr<IKivProperties> settings,
                                     KivComPtr<IKivProperties> info) {
  const HRESULT hr = CFrameCache::Initialize(settings, info);
  if (Failed(hr) || !info) return hr;
  return AtBoundary([&] {
    const std::wstring key = KivKey::OfVideo(KivKey::Source::kSource_TotalFrameCount);
    int32_t count = 0;
    if (Succeeded(info->GetInt(key.c_str(), &count))) SetLast(count);
    return hr;
  });
}
