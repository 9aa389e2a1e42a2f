#include "kiv/cache/VideoFrameCache.h"

#include <string>
#include <utility>

#include "kiv/base/AtBoundary.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Logger.h"

using SimpleSync::CSimpleMutexLock;

namespace {

constexpr wchar_t kVideo[] = L".Video";
constexpr uint32_t kInProcess = 1;

HRESULT MakeFrame(const KivSize& size, KivCGMemoryType type, KivComPtr<IKivFrame>* frame) {
  KivComPtr<IKivFrame> made;
  HRESULT hr =
      KivCommon::GetInterface(kFrameClassId, nullptr, kInProcess, IKivFrame::kIid, made.PutVoid());
  const auto video = made.As<IKivVideoFrame>();
  if (Succeeded(hr) && !video) hr = E_FAIL;
  if (Succeeded(hr)) {
    hr = video->Allocate(size.width, size.height, 0, type, nullptr, 0, kDefaultFrameDuration);
  }
  if (Failed(hr)) {
    KIV_LOG(LogLevel::kCreation, L"Failed to create cached frame, size(%d, %d), hr %08x",
            size.width, size.height, static_cast<uint32_t>(hr));
    return hr;
  }
  frame->Swap(made);
  return hr;
}

}  // namespace

CVideoFrameCache::CVideoFrameCache(IUnknown* outer, NodeRef upstream)
    : CFrameCache(outer, std::move(upstream)) {}

CVideoFrameCache::~CVideoFrameCache() { EndTasks(); }

void CVideoFrameCache::GetSpareFrame(KivComPtr<IKivFrame>* spare, IKivFrame* source) {
  const KivSize size = PictureSize(source);
  {
    CSimpleMutexLock guard(mapLock_);
    *spare = store_.TakeSpare(size);
  }
  if (!*spare) MakeFrame(size, KivCGMemoryType::kCached, spare);
}

HRESULT CVideoFrameCache::CopyToOutput(IKivFrame* source) {
  const KivSize size = PictureSize(source);
  if (!output_ || PictureSize(output_.Get()) != size) {
    output_.Reset();
    const HRESULT hr = MakeFrame(size, KivCGMemoryType::kDownstream, &output_);
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
    const std::wstring key = std::wstring(KivKey::Source::kSource_TotalFrameCount) + kVideo;
    int32_t count = 0;
    if (Succeeded(info->GetInt(key.c_str(), &count))) SetLast(count);
    return hr;
  });
}
