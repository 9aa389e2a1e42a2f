#include "kiv/VideoStab/KivVideoStabilizer_ExtendControl.h"

#include <cstdlib>
#include <utility>

#include "kiv/StreamCommon/MediaLocations.h"
#include "kiv/base/AtBoundary.h"
#include "kiv/platform/FrameFacts.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/Logger.h"
#include "kiv/values/Saturate.h"

using SimpleSync::CSimpleMutexLock;

namespace {

constexpr uint32_t kNoTaskId = 0xFFFFFFFF;
constexpr int32_t kProceed = 1;
constexpr int32_t kRefuse = 0;
constexpr int64_t kAll = 100;

bool IsUnderWay(enumTaskState state) {
  return state == enumTaskState::kRunning || state == enumTaskState::kPaused;
}

HRESULT OpenSource(const StabSettings& settings, KivComPtr<IKivMediaDecoder>* stream) {
  if (!IsMediaLocationAvailable(settings.wstrPath.c_str())) return E_INVALIDARG;
  const KivPropDecorator options = KivCommon::CreateProperties();
  if (!options) return E_OUTOFMEMORY;
  options.Get()->SetInt(KivKey::Codec::GPU::kGPUFirst, 0);
  KivComPtr<IKivMediaSource> file;
  if (const auto factory = KivCommon::GetFactory(nullptr)) {
    factory->OpenMediaFile(file.Put(), settings.wstrPath.c_str(), options.Get());
  }
  if (!file) {
    KIV_LOG(LogLevel::kCreation, L"Failed to create codec from file : %ls",
            settings.wstrPath.c_str());
    return E_UNSUPPORTED;
  }
  if (Failed(file->GetVideoStream(settings.nStreamIdx, stream->Put())) || !*stream) {
    KIV_LOG(LogLevel::kCreation, L"Failed to get video stream of index : %d", settings.nStreamIdx);
    return E_NOTREADY;
  }
  return S_OK;
}

KivComPtr<IKivStabilizerAlgorithm> MakeAlgorithm() {
  KivComPtr<IKivStabilizerAlgorithm> made;
  KivCommon::GetInterface(kStabilizerAlgorithmClassId, nullptr, 0, IKivStabilizerAlgorithm::kIid,
                          made.PutVoid());
  if (!made) KIV_LOG(LogLevel::kCreation, L"Failed to create video stabilizer ");
  return made;
}

KivComPtr<IKivFrame> NewFrame() {
  auto made = kiv::NewEmptyFrame();
  if (!made) KIV_LOG(LogLevel::kCreation, L"Failed to create video frame");
  return made;
}

}  // namespace

CKivVideoStabExtendControl::CKivVideoStabExtendControl(IUnknown* outer)
    : CUnknown(outer), running_(std::make_shared<std::atomic<int32_t>>(0)) {}

CKivVideoStabExtendControl::~CKivVideoStabExtendControl() {
  EndTask();
  if (const auto algorithm = Algorithm()) algorithm->ReleaseState();
}

HRESULT CKivVideoStabExtendControl::NonDelegatingQueryInterface(const GUID& iid, void** object) {
  if (iid == IKivTask::kIid || iid == IKivTaskable::kIid) {
    return HandOut<IKivTaskable>(this, object);
  }
  if (iid == IKivStabExtendControl::kIid) return HandOut<IKivStabExtendControl>(this, object);
  return CUnknown::NonDelegatingQueryInterface(iid, object);
}

HRESULT CKivVideoStabExtendControl::Initialize(uint32_t taskId, IKivTaskDelegate* delegate,
                                               void* context) {
  return CKivTaskable::Initialize(taskId, delegate, context);
}
uint32_t CKivVideoStabExtendControl::GetTaskID() { return CKivTaskable::GetTaskID(); }
HRESULT CKivVideoStabExtendControl::Start() { return CKivTaskable::Start(); }
HRESULT CKivVideoStabExtendControl::Pause() { return CKivTaskable::Pause(); }
HRESULT CKivVideoStabExtendControl::Resume() { return CKivTaskable::Resume(); }
HRESULT CKivVideoStabExtendControl::Stop() { return CKivTaskable::Stop(); }
enumTaskState CKivVideoStabExtendControl::GetTaskState() { return CKivTaskable::GetTaskState(); }

HRESULT CKivVideoStabExtendControl::SetCallback(StabCallback callback, void* context) {
  CSimpleMutexLock guard(lock_);
  callback_ = {callback, context};
  return S_OK;
}

void CKivVideoStabExtendControl::Tell(StabCallbackState state, int64_t percent) {
  Callback callback;
  {
    CSimpleMutexLock guard(lock_);
    callback = callback_;
  }
  if (callback.function) callback.function(static_cast<int32_t>(state), percent, callback.context);
}

StabSettings CKivVideoStabExtendControl::AnalysisSettings() const {
  CSimpleMutexLock guard(lock_);
  return analysisSettings_;
}

KivComPtr<IKivStabilizerAlgorithm> CKivVideoStabExtendControl::Algorithm() const {
  CSimpleMutexLock guard(lock_);
  return algorithm_;
}

void CKivVideoStabExtendControl::SetAnalysisSettings(const StabSettings& settings) {
  CSimpleMutexLock guard(lock_);
  analysisSettings_ = settings;
}

void CKivVideoStabExtendControl::SetEnable(int32_t enable) {
  CSimpleMutexLock guard(lock_);
  analysisSettings_.Enable = enable;
}

void CKivVideoStabExtendControl::ClearData() {
  CSimpleMutexLock guard(lock_);
  data_.motions.clear();
}

bool CKivVideoStabExtendControl::HasResultFor(const StabSettings& settings) const {
  CSimpleMutexLock guard(lock_);
  return dataSettings_ && *dataSettings_ == settings;
}

bool CKivVideoStabExtendControl::HasResultOfStream(const StabSettings& settings) const {
  CSimpleMutexLock guard(lock_);
  return dataSettings_ && dataSettings_->IsOfTheStreamOf(settings);
}

void CKivVideoStabExtendControl::SupplySize(const KivSize& size) {
  KivComPtr<IKivStabilizerAlgorithm> sizeless;
  StabData data;
  {
    CSimpleMutexLock guard(lock_);
    if (runSettings_.oSize.width > 0 && runSettings_.oSize.height > 0) return;
    sizeless = algorithm_;
    data = data_;
  }
  auto algorithm = MakeAlgorithm();
  if (!algorithm || Failed(algorithm->Begin(&size)) || Failed(algorithm->SetData(&data))) return;
  CSimpleMutexLock guard(lock_);
  if (algorithm_ != sizeless) return;  // another run has begun
  analysisSettings_.oSize = runSettings_.oSize = size;
  algorithm_.Swap(algorithm);
}

bool CKivVideoStabExtendControl::IsAnalysing(const StabSettings& settings) const {
  CSimpleMutexLock guard(lock_);
  return analysisSettings_ == settings;
}

void CKivVideoStabExtendControl::DropStream() {
  KivComPtr<IKivMediaDecoder> stream;
  KivComPtr<IKivFrame> frame;
  CSimpleMutexLock guard(lock_);
  stream_.Swap(stream);
  frame_.Swap(frame);
}

// A refusal leaves what an earlier run brought.
int32_t CKivVideoStabExtendControl::onStart() {
  StabSettings settings = AnalysisSettings();
  if (settings.Enable == 0) return kRefuse;
  DropStream();
  Run run;
  if (!BeginRun(settings, &run)) return kRefuse;
  CSimpleMutexLock guard(lock_);
  stream_.Swap(run.stream);
  algorithm_.Swap(run.algorithm);
  frame_.Swap(run.frame);
  runSettings_ = std::move(settings);
  data_.motions.clear();
  running_->exchange(1);
  return kProceed;
}

bool CKivVideoStabExtendControl::BeginRun(const StabSettings& settings, Run* run) {
  if (Failed(OpenSource(settings, &run->stream))) return false;
  run->algorithm = MakeAlgorithm();
  if (!run->algorithm) return false;
  run->frame = NewFrame();
  if (!run->frame) return false;
  const double rate = settings.ratFramerate.ToDouble();
  times_ = {KivCommon::FrameNumberToPTS(settings.rngSource.start, rate),
            KivCommon::FrameNumberToPTS(settings.rngSource.end, rate)};
  counter_ = settings.rngSource.start;
  lastFrame_ = settings.rngSource.end;
  run->stream->Seek(times_.start, static_cast<int32_t>(KivSeekMode::kReadOnward));
  return Succeeded(run->algorithm->Begin(&settings.oSize)) &&
         Succeeded(run->algorithm->StartAnalysis());
}

CKivVideoStabExtendControl::Run CKivVideoStabExtendControl::CurrentRun() const {
  CSimpleMutexLock guard(lock_);
  return {stream_, algorithm_, nullptr};
}

int64_t CKivVideoStabExtendControl::PercentDone(IKivMediaDecoder& stream) const {
  const double done = static_cast<double>(stream.GetCurrentTime() - times_.start) * kAll;
  const double all = static_cast<double>(times_.end - times_.start);
  return kiv::SaturateToInt64(static_cast<float>(done / all));
}

void CKivVideoStabExtendControl::onProcess(KivTaskProgress* progress) {
  AnalyseNext(progress);
  const bool done = progress->done != 0;
  Tell(done ? StabCallbackState::kFinished : StabCallbackState::kRunning, progress->numerator);
}

// Releases everything before the callback, which may end the task.
void CKivVideoStabExtendControl::AnalyseNext(KivTaskProgress* progress) {
  const Run run = CurrentRun();
  *progress = {kAll, 1, 1};
  if (!run.IsWhole()) return;
  KivComPtr<IKivFrame> frame;
  run.stream->ReadCurrentFrame(&frame);
  run.algorithm->AnalyseFrame(frame.Get(), counter_);
  KeepFrame(std::move(frame));
  counter_ = kiv::ClampToInt32(int64_t{counter_} + 1);
  int32_t more = 0;
  if (Failed(run.stream->Skip(1, &more)) || more == 0 || counter_ > lastFrame_) return;
  *progress = {PercentDone(*run.stream), 1, 0};
}

void CKivVideoStabExtendControl::KeepFrame(KivComPtr<IKivFrame> frame) {
  CSimpleMutexLock guard(lock_);
  frame_.Swap(frame);
}

void CKivVideoStabExtendControl::onComplete() {
  StabSettings settings;
  StabData data;
  KivComPtr<IKivStabilizerAlgorithm> algorithm;
  {
    CSimpleMutexLock guard(lock_);
    settings = runSettings_;
    data = data_;
    algorithm = algorithm_;
  }
  if (algorithm) {
    algorithm->CollectResult(&data);
  } else {
    algorithm = MakeAlgorithm();
    if (!algorithm) return;
    algorithm->Begin(&settings.oSize);
    CSimpleMutexLock guard(lock_);
    algorithm_ = algorithm;
  }
  DropStream();
  algorithm->SetData(&data);
  {
    CSimpleMutexLock guard(lock_);
    data_ = std::move(data);
    dataSettings_ = std::move(settings);
  }
  running_->exchange(0);
}

void CKivVideoStabExtendControl::onStop() {
  if (const auto algorithm = Algorithm()) algorithm->CollectResult(nullptr);
  DropStream();
  {
    CSimpleMutexLock guard(lock_);
    dataSettings_.reset();
  }
  const auto running = running_;
  Tell(StabCallbackState::kStopped, 0);
  running->exchange(0);
}

bool CKivVideoStabExtendControl::FitsRange(const StabStoredData& data) {
  const int64_t frames = int64_t{data.settings.rngSource.end} - data.settings.rngSource.start + 1;
  const auto entries = static_cast<int64_t>(data.motions.size());
  return entries > 0 && std::llabs(frames - entries) <= kAdoptTolerance;
}

void CKivVideoStabExtendControl::AdoptStoredData() {
  {
    CSimpleMutexLock guard(lock_);
    if (!FitsRange({analysisSettings_, data_.motions})) return;
  }
  EnterState(enumTaskState::kFinished, [this] { return TakeStoredData(); });
}

// False when a run began meanwhile, which forgets them.
bool CKivVideoStabExtendControl::TakeStoredData() {
  KivComPtr<IKivStabilizerAlgorithm> dropped;  // it was begun with the size of other data
  {
    CSimpleMutexLock guard(lock_);
    if (!FitsRange({analysisSettings_, data_.motions})) return false;
    data_.first = analysisSettings_.rngSource.start;
    data_.last = analysisSettings_.rngSource.end;
    runSettings_ = analysisSettings_;
    algorithm_.Swap(dropped);
  }
  if (dropped) dropped->ReleaseState();
  onComplete();
  return true;
}

HRESULT CKivVideoStabExtendControl::SaveData(IKivProperties* bag) {
  if (!bag) return E_POINTER;
  if (GetTaskState() != enumTaskState::kFinished) return S_FALSE;
  return AtBoundary([&] {
    StabStoredData data;
    {
      CSimpleMutexLock guard(lock_);
      data = {analysisSettings_, data_.motions};
    }
    return data.motions.empty() ? S_FALSE : StoreStabData(data, bag);
  });
}

HRESULT CKivVideoStabExtendControl::LoadData(IKivProperties* bag) {
  if (!bag) return E_POINTER;
  return AtBoundary([&] {
    StabStoredData loaded{AnalysisSettings(), {}};
    const HRESULT hr = ReadStabData(bag, &loaded);
    return hr == S_OK ? Install(std::move(loaded)) : hr;
  });
}

HRESULT CKivVideoStabExtendControl::Install(StabStoredData loaded) {
  const enumTaskState state = GetTaskState();
  const bool inUse = state == enumTaskState::kFinished || IsUnderWay(state);
  if (inUse && !FitsRange(loaded)) return S_OK;
  Stop();
  const bool hasEntries = !loaded.motions.empty();
  {
    CSimpleMutexLock guard(lock_);
    data_.motions.swap(loaded.motions);
    analysisSettings_ = std::move(loaded.settings);
  }
  if (!hasEntries) return S_OK;
  Initialize(kNoTaskId, nullptr, nullptr);
  AdoptStoredData();
  return S_OK;
}

bool CKivVideoStabExtendControl::CanCorrect() {
  {
    CSimpleMutexLock guard(lock_);
    if (analysisSettings_.Enable == 0) return false;
  }
  return GetTaskState() == enumTaskState::kFinished && running_->load() == 0;
}

HRESULT CKivVideoStabExtendControl::Correct(IKivFrame* input, IKivFrame* output, int32_t index,
                                            int32_t level) {
  KivComPtr<IKivStabilizerAlgorithm> algorithm;
  {
    CSimpleMutexLock guard(lock_);
    if (!data_.motions.empty()) algorithm = algorithm_;
  }
  return algorithm ? algorithm->CorrectFrame(input, output, index, level) : E_NOTREADY;
}
