#include "kiv/VideoStab/KivVideoStabilizer.h"

#include <string>
#include <utility>

#include "kiv/base/AtBoundary.h"
#include "kiv/chain/Rates.h"
#include "kiv/platform/FrameFacts.h"
#include "kiv/platform/FullKeys.h"

using SimpleSync::CSimpleMutexLock;

namespace {

constexpr int32_t kPathCapacity = 260;

template <typename T>
bool Replace(T* field, const T& value) {
  if (*field == value) return false;
  *field = value;
  return true;
}

// Reads the path into `field`; true when that changed it. `found` says whether there was one.
bool TakePath(IKivProperties* bag, std::wstring* field, bool* found) {
  wchar_t text[kPathCapacity] = {};
  if (!bag || Failed(bag->GetString(KivKey::Base::kStrFileFullPath, text, kPathCapacity))) {
    return false;
  }
  *found = text[0] != 0;
  return Replace(field, std::wstring(text));
}

bool TakeStream(IKivProperties* bag, int32_t* field, int32_t* value) {
  const wchar_t* const key = KivKey::SourceRender::kSourceRender_CurrentVideoStreamIndex;
  return bag && Succeeded(bag->GetInt(key, value)) && Replace(field, *value);
}

}  // namespace

CKivVideoStabilizer::CKivVideoStabilizer(IUnknown* outer, NodeRef upstream)
    : CSourceBase(outer, std::move(upstream)), level_(kStabLevelDefault), task_(Owner()) {}

// The task may be on its way; nothing of the node may go before it has ended.
CKivVideoStabilizer::~CKivVideoStabilizer() { task_.Stop(); }

HRESULT CKivVideoStabilizer::NonDelegatingQueryInterface(const GUID& iid, void** object) {
  if (iid == IKivStabExtendControl::kIid || iid == IKivTask::kIid || iid == IKivTaskable::kIid) {
    return task_.NonDelegatingQueryInterface(iid, object);
  }
  return CSourceBase::NonDelegatingQueryInterface(iid, object);
}

KivComPtr<IKivFrame> CKivVideoStabilizer::GetCurrentFrame(int32_t* status) {
  KivComPtr<IKivFrame> frame = CSourceBase::GetCurrentFrame(status);
  if (!task_.CanCorrect() || HasForeignData()) {
    output_.Reset();
    return frame;
  }
  if (!frame) return frame;
  KivComPtr<IKivFrame> corrected =
      AtBoundaryOr(KivComPtr<IKivFrame>(), [&] { return Corrected(frame); });
  return corrected ? corrected : frame;
}

// Loaded data are taken as they come; as long as they are of another file than the node's they wait.
bool CKivVideoStabilizer::HasForeignData() {
  CSimpleMutexLock guard(lock_);
  return settings_.IsUsable() && !task_.HasResultOfStream(settings_);
}

KivComPtr<IKivFrame> CKivVideoStabilizer::Corrected(const KivComPtr<IKivFrame>& frame) {
  IKivBitmap* const bitmap = frame->GetBitmap();
  if (!bitmap) return nullptr;
  const KivSize size = kiv::SizeOf(*bitmap);
  if (!KivCommon::CreateBGRAFrameFrom(output_, size, KivCGMemoryType::kDownstream)) return nullptr;
  const int32_t index = CSourceBase::GetPosition(nullptr);
  if (Failed(task_.Correct(frame.Get(), output_.Get(), index, level_))) return nullptr;
  kiv::CopyStamps(*frame, *output_);
  return output_;
}

HRESULT CKivVideoStabilizer::ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) {
  using Self = CKivVideoStabilizer;
  static constexpr CommandRow<Self> kRows[] = {
      {CommandId::SetStabilizerEnabled, &Self::OnSetEnabled, Route::kStop},
      {CommandId::GetStabilizerEnabled, &Self::OnGetEnabled, Route::kStop},
      {CommandId::SetStabilizerLevel, &Self::OnSetLevel, Route::kStop},
      {CommandId::GetStabilizerLevel, &Self::OnGetLevel, Route::kStop},
      {CommandId::GetStabExtendControl, &Self::OnGetExtendControl, Route::kStop},
      {CommandId::GetStabilizerSettings, &Self::OnGetSettings, Route::kStop},
      {CommandId::SetStabilizerSettings, &Self::OnSetSettings, Route::kStop},
  };
  return AtBoundary([&] { return Dispatch(*this, kRows, id, param, extra); });
}

HRESULT CKivVideoStabilizer::OnSetEnabled(const CommandArgs& args) {
  {
    CSimpleMutexLock guard(lock_);
    if (!Replace(&settings_.Enable, args.Integer())) return S_OK;
  }
  ReapplySettings();
  return S_OK;
}

HRESULT CKivVideoStabilizer::OnGetEnabled(const CommandArgs& args) {
  auto* enabled = args.As<int32_t>();
  if (!enabled) return E_POINTER;
  CSimpleMutexLock guard(lock_);
  *enabled = settings_.Enable;
  return S_OK;
}

HRESULT CKivVideoStabilizer::OnSetLevel(const CommandArgs& args) {
  if (level_.exchange(args.Integer()) != args.Integer()) ReapplySettings();
  return S_OK;
}

HRESULT CKivVideoStabilizer::OnGetLevel(const CommandArgs& args) {
  auto* level = args.As<int32_t>();
  if (!level) return E_POINTER;
  *level = level_;
  return S_OK;
}

HRESULT CKivVideoStabilizer::OnGetExtendControl(const CommandArgs& args) {
  auto* slot = args.As<void*>();
  if (!slot) return E_POINTER;
  return task_.NonDelegatingQueryInterface(IKivStabExtendControl::kIid, slot);
}

HRESULT CKivVideoStabilizer::OnGetSettings(const CommandArgs& args) {
  auto* settings = args.As<StabSettings>();
  if (!settings) return E_POINTER;
  CSimpleMutexLock guard(lock_);
  *settings = settings_;
  return S_OK;
}

HRESULT CKivVideoStabilizer::OnSetSettings(const CommandArgs& args) {
  const auto* settings = args.As<const StabSettings>();
  if (!settings) return E_POINTER;
  {
    CSimpleMutexLock guard(lock_);
    if (!Replace(&settings_, *settings)) return S_OK;
  }
  ReapplySettings();
  return S_OK;
}

HRESULT CKivVideoStabilizer::SaveSettings(IKivProperties* bag) {
  if (!bag) return E_POINTER;
  {
    CSimpleMutexLock guard(lock_);
    bag->SetInt(KivKey::Stabilization::kEnabled, settings_.Enable);
  }
  bag->SetInt(KivKey::Stabilization::kLevel, level_);
  return task_.SaveData(bag);
}

HRESULT CKivVideoStabilizer::LoadSettings(IKivProperties* bag) {
  if (!bag) return E_POINTER;
  {
    CSimpleMutexLock guard(lock_);
    bag->GetInt(KivKey::Stabilization::kEnabled, &settings_.Enable);
  }
  int32_t level = level_;
  bag->GetInt(KivKey::Stabilization::kLevel, &level);
  level_ = level;
  return task_.LoadData(bag);
}

HRESULT CKivVideoStabilizer::Initialize(KivComPtr<IKivProperties> settings,
                                        KivComPtr<IKivProperties> info) {
  CSimpleMutexLock guard(lock_);
  const HRESULT hr = CSourceBase::Initialize(settings, info);
  if (!settings) return S_FALSE;
  const HRESULT read = AtBoundary([&]() KIV_REQUIRES(lock_) {
    bool changed = ReadPathLocked(settings.Get(), info.Get());
    changed |= ReadStreamLocked(settings.Get(), info.Get());
    changed |= ReadSwitchesLocked(settings.Get());
    if (info) changed |= ReadSourceLocked(info.Get());
    if (changed) ReapplySettings();
    return S_OK;
  });
  return Failed(read) ? read : hr;
}

bool CKivVideoStabilizer::ReadPathLocked(IKivProperties* settings, IKivProperties* info) {
  bool found = false;
  const bool changed = TakePath(settings, &settings_.wstrPath, &found);
  return (!found && TakePath(info, &settings_.wstrPath, &found)) || changed;
}

bool CKivVideoStabilizer::ReadStreamLocked(IKivProperties* settings, IKivProperties* info) {
  int32_t stream = -1;
  const bool changed = TakeStream(info, &settings_.nStreamIdx, &stream);
  return (stream == -1 && TakeStream(settings, &settings_.nStreamIdx, &stream)) || changed;
}

bool CKivVideoStabilizer::ReadSwitchesLocked(IKivProperties* settings) {
  int32_t enabled = settings_.Enable, level = level_;
  settings->GetInt(KivKey::Stabilization::kEnabled, &enabled);
  settings->GetInt(KivKey::Stabilization::kLevel, &level);
  const bool levelChanged = level_.exchange(level) != level;
  return Replace(&settings_.Enable, enabled) || levelChanged;
}

bool CKivVideoStabilizer::ReadSourceLocked(IKivProperties* info) {
  KivRange range = settings_.rngSource;
  KivSize size = settings_.oSize;
  KivRational rate = settings_.ratFramerate;
  const std::wstring rangeKey = KivKey::OfVideo(KivKey::Source::kSource_RangeFrameNumber);
  info->GetRange(rangeKey.c_str(), &range);
  info->GetSize(KivKey::Source::kSource_Size, &size);
  kiv::ReadRate(info, KivKey::Source::kSource_Framerate, &rate);
  bool changed = Replace(&settings_.rngSource, range);
  changed |= Replace(&settings_.oSize, size);
  if (SameValue(settings_.ratFramerate, rate)) return changed;
  settings_.ratFramerate = rate;
  return true;
}

void CKivVideoStabilizer::ReapplySettings() {
  StabSettings settings;
  {
    CSimpleMutexLock guard(lock_);
    settings = settings_;
  }
  if (!settings.IsUsable()) return;
  task_.SetEnable(settings.Enable);
  switch (task_.GetTaskState()) {
    case enumTaskState::kNeverStarted:
      task_.SetAnalysisSettings(settings);
      return task_.AdoptStoredData();
    case enumTaskState::kFinished:
      if (task_.HasResultFor(settings)) return task_.SupplySize(settings.oSize);
      break;
    case enumTaskState::kRunning:
    case enumTaskState::kPaused:
      if (task_.IsAnalysing(settings)) return;
      task_.Stop();
      break;
    default:
      break;
  }
  RestartTask(settings);
}

void CKivVideoStabilizer::RestartTask(const StabSettings& settings) {
  task_.ClearData();
  task_.SetAnalysisSettings(settings);
  task_.SetTaskState(enumTaskState::kReady);
}
