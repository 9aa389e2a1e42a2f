#include "kiv/chain/VideoClipRender.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "kiv/base/AtBoundary.h"
#include "kiv/chain/CommandIds.h"
#include "kiv/chain/NodeUpkeep.h"
#include "kiv/chain/TaskIdentities.h"
#include "kiv/platform/FullKeys.h"
#include "kiv/platform/KivCommon.h"

using SimpleSync::CSimpleMutexLock;

namespace {

constexpr auto kSetDecoder = static_cast<uint32_t>(CommandId::SetDecoder);
// Below this, a custom source frame rate counts as not set.
constexpr double kLeastFrameRate = 0.001;

// While it lives, the clip render initializes by itself.
class OwnInitialize {
 public:
  explicit OwnInitialize(const std::vector<NodeRef>& nodes) : nodes_(nodes) {
    Set(Initializer::kClipRender);
  }
  ~OwnInitialize() { Set(Initializer::kHost); }
  OwnInitialize(const OwnInitialize&) = delete;
  OwnInitialize& operator=(const OwnInitialize&) = delete;

 private:
  void Set(Initializer who) {
    for (const NodeRef& node : nodes_) {
      if (node.Upkeep()) node.Upkeep()->SetInitializer(who);
    }
  }

  const std::vector<NodeRef>& nodes_;
};

// Releases everything that `tail` and the nodes below it hold, threads and decoder included: nobody
// is to read from them any more, but they stay for settings and for hosts that hold them.
void Retire(const NodeRef& tail) {
  AtBoundary([&] {
    const KivPropDecorator settings = KivCommon::CreateProperties();
    const KivPropDecorator info = KivCommon::CreateProperties();
    if (!settings || !info) return E_OUTOFMEMORY;
    settings->SetInt(KivKey::Mark::kCleanup, 1);
    settings->SetInt(KivKey::Render::kRender_CacheEnable, 0);
    settings->SetInt(KivKey::Speed::kReverse, 0);
    return tail->Initialize(settings.Reference(), info.Reference());
  });
  AtBoundary([&] { return tail->ProcessCommand(kSetDecoder, 0, 0); });
  AtBoundary([&] { return tail->Flush(); });
}

InitialBags HostBagsOf(const NodeRef& tail) {
  return tail.Upkeep() ? tail.Upkeep()->HostBags() : InitialBags{};
}

}  // namespace

CVideoClipRender::CVideoClipRender(IUnknown* outer, NodeTable table)
    : CClipRenderBase(outer), table_(table) {}

HRESULT CVideoClipRender::NonDelegatingQueryInterface(const GUID& iid, void** object) {
  if (iid == IKivRenderSettings::kIid) return HandOut<IKivRenderSettings>(this, object);
  if (stabilizer_ && IsTaskIdentity(iid)) return stabilizer_.QueryNode(iid, object);
  return CClipRenderBase::NonDelegatingQueryInterface(iid, object);
}

HRESULT CVideoClipRender::EnsureInitialized() {
  if (!tail_ || initialized_) return S_OK;
  const KivPropDecorator settings = KivCommon::CreateProperties();
  const KivPropDecorator info = KivCommon::CreateProperties();
  if (!settings || !info) return E_OUTOFMEMORY;
  FillSettingsLocked(settings.Get());
  initialized_ = true;
  const OwnInitialize mark(nodes_);
  return tail_->Initialize(settings.Reference(), info.Reference());
}

void CVideoClipRender::FillSettingsLocked(IKivProperties* settings) {
  settings->SetInt(KivKey::Mark::kNecessaryInit, 1);
  settings->SetRational(KivKey::Render::kRender_Framerate, &renderFrameRate_);
  settings->SetSize(KivKey::Render::kRender_Size, &renderSize_);
  if (customSourceFrameRate_.ToDouble() >= kLeastFrameRate) {
    settings->SetRational(KivKey::Source::kSource_Framerate_Custom, &customSourceFrameRate_);
  }
}

HRESULT CVideoClipRender::Cleanup() {
  CSimpleMutexLock guard(lock_);
  CClipRenderBase::Cleanup();
  if (!tail_) return S_OK;
  initialized_ = false;
  return AtBoundary([&] {
    const KivPropDecorator settings = KivCommon::CreateProperties();
    const KivPropDecorator info = KivCommon::CreateProperties();
    if (!settings || !info) return E_OUTOFMEMORY;
    settings->SetInt(KivKey::Mark::kCleanup, 1);
    const OwnInitialize mark(nodes_);
    tail_->Initialize(settings.Reference(), info.Reference());
    return S_OK;
  });
}

HRESULT CVideoClipRender::SaveNodeSettings(IKivProperties* bag) {
  if (!bag) return E_POINTER;
  return AtBoundary([&] {
    for (const NodeRef& node : nodes_) {
      if (node.Upkeep()) node.Upkeep()->FinishReading();
    }
    for (const NodeRef& node : nodes_) node->SaveSettings(bag);
    return S_OK;
  });
}

HRESULT CVideoClipRender::LoadNodeSettings(IKivProperties* bag) {
  if (!bag) return E_POINTER;
  return AtBoundary([&] {
    for (const NodeRef& node : nodes_) {
      if (node.Upkeep()) node.Upkeep()->Forget();
    }
    for (const NodeRef& node : nodes_) node->LoadSettings(bag);
    return S_OK;
  });
}

HRESULT CVideoClipRender::SetRenderFrameRate(const KivRational* rate) {
  if (!rate) return E_POINTER;
  CSimpleMutexLock guard(lock_);
  renderFrameRate_ = *rate;
  return S_OK;
}

HRESULT CVideoClipRender::SetRenderSize(const KivSize* size) {
  if (!size) return E_POINTER;
  CSimpleMutexLock guard(lock_);
  renderSize_ = *size;
  return S_OK;
}

HRESULT CVideoClipRender::SetCustomSourceFrameRate(const KivRational* rate) {
  if (!rate) return E_POINTER;
  CSimpleMutexLock guard(lock_);
  customSourceFrameRate_ = *rate;
  return S_OK;
}

HRESULT CVideoClipRender::BuildChain(const int32_t* ids, int32_t count) {
  if (!ids && count > 0) return E_POINTER;
  const HRESULT hr = AtBoundary([&] {
    BuiltChain built;
    const std::span<const int32_t> list(ids, static_cast<size_t>(std::max(count, 0)));
    IKivRenderEx* const owner = this;
    const HRESULT made = BuildNodes(table_, owner, list, &built);
    if (Failed(made)) return made;
    // The only step that can fail from here on; what follows does not throw.
    nodes_.reserve(nodes_.size() + built.nodes.size());
    std::move(built.nodes.begin(), built.nodes.end(), std::back_inserter(nodes_));
    if (built.stabilizer) stabilizer_ = std::move(built.stabilizer);
    const NodeRef retired = std::exchange(tail_, std::move(built.tail));
    initialized_ = false;
    if (!retired) return S_OK;
    if (InitialBags bags = HostBagsOf(retired); bags.settings) hostBags_ = std::move(bags);
    const OwnInitialize mark(nodes_);
    Retire(retired);
    return S_OK;
  });
  // Before the host's commands, so that these count.
  if (Succeeded(hr) && tail_ && hostBags_.settings) {
    AtBoundary([&] { return tail_->Initialize(hostBags_.settings, hostBags_.info); });
  }
  return hr;
}
