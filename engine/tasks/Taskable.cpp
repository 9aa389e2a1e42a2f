// The task base: one thread for each run, steered through a few flags under one lock.
#include <algorithm>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "kiv/base/Mutex.h"
#include "kiv/platform/Logger.h"
#include "kiv/platform/Tasks.h"

namespace {

struct Listener {
  KivComPtr<IKivTaskDelegate> delegate;
  void* context = nullptr;
};

bool IsUnderWay(enumTaskState state) {
  return state == enumTaskState::kRunning || state == enumTaskState::kPaused;
}

}  // namespace

// Shared with the thread, so that a task may be destroyed by what its own thread calls.
struct CKivTaskable::Core {
  explicit Core(CKivTaskable& owner) : task(owner) {}

  bool OnTaskThreadLocked() const KIV_REQUIRES(lock) {
    return active && runner == std::this_thread::get_id();
  }
  void RequestStopLocked() KIV_REQUIRES(lock);
  void AwaitEndLocked() KIV_REQUIRES(lock);

  // The thread's part.
  void Run();
  enumTaskState Work();
  bool HadFinished();
  bool ProcessAll();
  bool MayGoOn();
  bool Rest();
  void Tell(enumTaskState told);
  template <typename Function>
  bool Call(Function function);

  CKivTaskable& task;
  bool gone = false;  // read and written on the task's thread only: `task` is no more

  // Innermost: no function of the task and no delegate is called with it held.
  kiv::Mutex lock;
  kiv::Condition changed;
  enumTaskState state KIV_GUARDED_BY(lock) = enumTaskState::kNeverStarted;
  uint32_t id KIV_GUARDED_BY(lock) = 0;
  std::vector<Listener> listeners KIV_GUARDED_BY(lock);
  std::thread thread KIV_GUARDED_BY(lock);
  std::thread::id runner KIV_GUARDED_BY(lock);  // the thread's, also once it is detached
  // A run has begun and its thread has not let go yet.
  bool active KIV_GUARDED_BY(lock) = false;
  bool stopWanted KIV_GUARDED_BY(lock) = false;
  bool pauseWanted KIV_GUARDED_BY(lock) = false;
  bool resting KIV_GUARDED_BY(lock) = false;
  bool closed KIV_GUARDED_BY(lock) = false;
  bool hadFinished KIV_GUARDED_BY(lock) = false;  // before the run under way
  uint64_t runsOver KIV_GUARDED_BY(lock) = 0;
  enumTaskState lastOutcome KIV_GUARDED_BY(lock) = enumTaskState::kNeverStarted;
};

void CKivTaskable::Core::RequestStopLocked() {
  stopWanted = true;
  changed.WakeAll();
}

void CKivTaskable::Core::AwaitEndLocked() {
  const uint64_t run = runsOver;
  while (active && runsOver == run) changed.Wait(lock);
}

// False when the function threw, or when the task was destroyed by it.
template <typename Function>
bool CKivTaskable::Core::Call(Function function) {
  if (gone) return false;
  try {
    function(task);
    return !gone;
  } catch (...) {
    KIV_LOG(LogLevel::kFailure, L"A task's function failed with an exception");
    return false;
  }
}

void CKivTaskable::Core::Tell(enumTaskState told) {
  std::vector<Listener> all;
  try {
    const kiv::MutexLock held(lock);
    all = listeners;
  } catch (const std::bad_alloc&) {
    return;  // the state itself can still be asked for
  }
  for (const Listener& listener : all) {
    Call([&](CKivTaskable& t) { listener.delegate->OnTaskState(&t, told, listener.context); });
  }
}

void CKivTaskable::Core::Run() {
  Tell(enumTaskState::kRunning);
  const enumTaskState outcome = Work();
  {
    const kiv::MutexLock held(lock);
    state = outcome;
  }
  Tell(outcome);
  const kiv::MutexLock held(lock);
  lastOutcome = outcome;
  active = false;
  ++runsOver;
  changed.WakeAll();
}

enumTaskState CKivTaskable::Core::Work() {
  bool accepted = false;
  Call([&](CKivTaskable& t) {
    t.onCreate();
    accepted = t.onStart() != 0;
  });
  // What an earlier run brought stands.
  if (!accepted) return HadFinished() ? enumTaskState::kFinished : enumTaskState::kStopped;
  if (ProcessAll() && Call([](CKivTaskable& t) { t.onComplete(); })) {
    return enumTaskState::kFinished;
  }
  Call([](CKivTaskable& t) { t.onStop(); });
  return enumTaskState::kStopped;
}

bool CKivTaskable::Core::HadFinished() {
  const kiv::MutexLock held(lock);
  return hadFinished;
}

bool CKivTaskable::Core::ProcessAll() {
  if (!Call([](CKivTaskable& t) { t.onRunning(); })) return false;
  for (KivTaskProgress progress; progress.done == 0;) {
    if (!MayGoOn()) return false;
    progress = {};
    if (!Call([&](CKivTaskable& t) { t.onProcess(&progress); })) return false;
  }
  return true;
}

bool CKivTaskable::Core::MayGoOn() {
  for (;;) {
    {
      const kiv::MutexLock held(lock);
      if (stopWanted) return false;
      if (!pauseWanted) return true;
      state = enumTaskState::kPaused;
    }
    if (!Rest()) return false;
  }
}

bool CKivTaskable::Core::Rest() {
  if (!Call([](CKivTaskable& t) { t.onPause(); })) return false;
  Tell(enumTaskState::kPaused);
  {
    const kiv::MutexLock held(lock);
    while (pauseWanted && !stopWanted) {
      // Said again each time round: Resume and Pause may both have come before this thread woke.
      state = enumTaskState::kPaused;
      resting = true;
      changed.WakeAll();
      changed.Wait(lock);
    }
    resting = false;
    if (stopWanted) return false;
  }
  if (!Call([](CKivTaskable& t) { t.onResume(); })) return false;
  Tell(enumTaskState::kRunning);
  return true;
}

CKivTaskable::CKivTaskable() : core_(std::make_shared<Core>(*this)) {}

CKivTaskable::~CKivTaskable() { EndTask(); }

void CKivTaskable::EndTask() {
  std::vector<Listener> dropped;
  const kiv::MutexLock held(core_->lock);
  core_->closed = true;
  dropped.swap(core_->listeners);
  if (core_->active) core_->RequestStopLocked();
  if (core_->OnTaskThreadLocked()) {
    core_->gone = true;
    if (core_->thread.joinable()) core_->thread.detach();
    return;
  }
  while (core_->active) core_->changed.Wait(core_->lock);
  if (core_->thread.joinable()) core_->thread.join();
}

HRESULT CKivTaskable::Initialize(uint32_t taskId, IKivTaskDelegate* delegate, void* context) {
  {
    const kiv::MutexLock held(core_->lock);
    core_->id = taskId;
  }
  return delegate ? addDelegate(delegate, context) : S_OK;
}

uint32_t CKivTaskable::GetTaskID() {
  const kiv::MutexLock held(core_->lock);
  return core_->id;
}

HRESULT CKivTaskable::Start() {
  const std::shared_ptr<Core> core = core_;
  const kiv::MutexLock held(core->lock);
  if (core->active && (core->OnTaskThreadLocked() || IsUnderWay(core->state))) return S_FALSE;
  // Over, but for its thread's last words.
  while (core->active && !IsUnderWay(core->state)) core->changed.Wait(core->lock);
  if (core->active) return S_FALSE;
  if (core->closed) return E_NOTREADY;
  if (core->thread.joinable()) core->thread.join();
  core->stopWanted = core->pauseWanted = core->resting = false;
  try {
    core->thread = std::thread([core] { core->Run(); });
  } catch (const std::system_error&) {
    return E_OUTOFMEMORY;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  core->runner = core->thread.get_id();
  core->active = true;
  core->hadFinished = core->state == enumTaskState::kFinished;
  core->state = enumTaskState::kRunning;
  return S_OK;
}

HRESULT CKivTaskable::Pause() {
  const kiv::MutexLock held(core_->lock);
  if (!core_->active || !IsUnderWay(core_->state)) return S_FALSE;
  if (core_->pauseWanted && core_->resting) return S_FALSE;
  core_->pauseWanted = true;
  if (core_->OnTaskThreadLocked()) return S_OK;
  const uint64_t run = core_->runsOver;
  while (!core_->resting && core_->pauseWanted && !core_->stopWanted && core_->runsOver == run) {
    core_->changed.Wait(core_->lock);
  }
  return core_->resting ? S_OK : S_FALSE;
}

HRESULT CKivTaskable::Resume() {
  const kiv::MutexLock held(core_->lock);
  if (!core_->active || !core_->pauseWanted) return S_FALSE;
  core_->pauseWanted = false;
  core_->resting = false;
  if (core_->state == enumTaskState::kPaused) core_->state = enumTaskState::kRunning;
  core_->changed.WakeAll();
  return S_OK;
}

HRESULT CKivTaskable::Stop() {
  const kiv::MutexLock held(core_->lock);
  if (!core_->active) return S_FALSE;
  core_->RequestStopLocked();
  if (core_->OnTaskThreadLocked()) return S_OK;
  core_->AwaitEndLocked();
  return core_->lastOutcome == enumTaskState::kStopped ? S_OK : S_FALSE;
}

enumTaskState CKivTaskable::GetTaskState() {
  const kiv::MutexLock held(core_->lock);
  return core_->state;
}

HRESULT CKivTaskable::SetTaskState(enumTaskState state) {
  return EnterState(state, [] { return true; });
}

HRESULT CKivTaskable::EnterState(enumTaskState state, const std::function<bool()>& prepare) {
  bool ready = false;
  {
    const kiv::MutexLock held(core_->lock);
    if (core_->OnTaskThreadLocked()) return E_NOTREADY;
    while (core_->active) {
      core_->RequestStopLocked();
      core_->AwaitEndLocked();
    }
    // For others this is a run without a state of its own.
    core_->active = true;
    core_->runner = {};
  }
  try {
    ready = prepare();
  } catch (...) {
    KIV_LOG(LogLevel::kFailure, L"A task's state could not be prepared");
  }
  {
    const kiv::MutexLock held(core_->lock);
    if (ready) core_->state = state;
    core_->active = false;
    ++core_->runsOver;
    core_->changed.WakeAll();
  }
  if (ready) core_->Tell(state);
  return ready ? S_OK : S_FALSE;
}

void CKivTaskable::onProcess(KivTaskProgress* progress) { progress->done = 1; }

HRESULT CKivTaskable::addDelegate(IKivTaskDelegate* delegate, void* context) {
  if (!delegate) return E_POINTER;
  const kiv::MutexLock held(core_->lock);
  try {
    core_->listeners.push_back({KivComPtr<IKivTaskDelegate>(delegate), context});
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT CKivTaskable::removeDelegate(IKivTaskDelegate* delegate) {
  Listener dropped;  // outlives the lock: its last reference may go here
  const kiv::MutexLock held(core_->lock);
  const auto found = std::find_if(core_->listeners.begin(), core_->listeners.end(),
                                  [=](const Listener& l) { return l.delegate == delegate; });
  if (found == core_->listeners.end()) return S_FALSE;
  dropped = std::move(*found);
  core_->listeners.erase(found);
  return S_OK;
}
