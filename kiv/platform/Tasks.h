// Background tasks: work done step by step on a thread of its own, which a host starts, pauses,
// resumes and stops.
//
// One run, all of it on the task's thread:
//   onCreate, onStart, onRunning, onProcess ... onProcess, onComplete      state 5 follows
//   onCreate, onStart (refuses)                        state 4 follows, or 5 as it was before Start
//   ..., onProcess, onPause, (waiting), onResume, onProcess, ...
//   ..., onProcess, onStop                                                 state 4 follows
// An exception from onStart is a refusal; from onPause, onResume, onProcess or onComplete it ends
// the run with onStop. None goes further.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "kiv/platform/KivComPtr.h"
#include "kiv/values/Export.h"

enum class enumTaskState : int32_t {
  kNeverStarted = 0,
  kReady = 1,     // set from outside, when there is something new to do
  kRunning = 2,   // from Start on, while paused excepted
  kPaused = 3,    // the thread waits between two steps
  kStopped = 4,   // ended before it was done: Stop, a refusal without a result, an exception
  kFinished = 5,  // onComplete has returned
};

struct KivTaskProgress {
  int64_t numerator = 0;
  int64_t denominator = 1;
  int32_t done = 0;  // not 0 ends the run after this step
};

struct IKivTask;

// Hears of a task's states: on the task's thread during a run, else on the thread that calls
// SetTaskState, with whatever locks that one's callers hold; the task's own is not. It may call the
// task, but cannot begin a run.
struct KIV_EXPORT IKivTaskDelegate : IUnknown {
  static constexpr GUID kIid{
      0x35E0B7D4, 0x92A1, 0x4C6F, {0x8B, 0x1D, 0x64, 0xF0, 0x27, 0xCE, 0x59, 0xA8}};

  virtual void OnTaskState(IKivTask* task, enumTaskState state, void* context) = 0;
};

// Units:    a task id is the caller's own number.
// Threads:  any. A call that waits for the task's thread does not wait when made on that thread.
// Errors:   a call that finds nothing to do gives S_FALSE.
struct KIV_EXPORT IKivTask : IUnknown {
  static constexpr GUID kIid{
      0x68DD06EF, 0x6B01, 0x3745, {0x34, 0x11, 0xFE, 0x06, 0x6E, 0xAC, 0xF5, 0x71}};

  // `delegate` may be null; else it is added, and told with `context`.
  virtual HRESULT Initialize(uint32_t taskId, IKivTaskDelegate* delegate, void* context) = 0;
  virtual uint32_t GetTaskID() = 0;
  // Begins a run and returns at once, in state 2. S_FALSE while one is under way.
  virtual HRESULT Start() = 0;
  // Waits until the present step is over: after S_OK the thread rests in state 3 until Resume.
  virtual HRESULT Pause() = 0;
  virtual HRESULT Resume() = 0;
  // Waits until the run is over, which it then is: S_FALSE when none was under way or it completed
  // meanwhile.
  virtual HRESULT Stop() = 0;
  virtual enumTaskState GetTaskState() = 0;
};

struct KIV_EXPORT IKivTaskable : IKivTask {
  static constexpr GUID kIid{
      0x003B7A96, 0x5FA1, 0x4B84, {0x98, 0xAD, 0xEC, 0xED, 0xB4, 0xA3, 0x4B, 0x27}};

  virtual int32_t Reserved10() { return 1; }
  virtual void onCreate() = 0;    // slot 11
  virtual int32_t onStart() = 0;  // 1 to proceed, 0 to refuse
  virtual void onRunning() = 0;
  virtual void onPause() = 0;
  virtual void onResume() = 0;
  virtual void onStop() = 0;
  virtual void onComplete() = 0;
  // One step; called again until it sets `done`.
  virtual void onProcess(KivTaskProgress* progress) = 0;  // slot 18
  virtual HRESULT addDelegate(IKivTaskDelegate* delegate, void* context) = 0;
  virtual HRESULT removeDelegate(IKivTaskDelegate* delegate) = 0;
};

// The base of tasks. The three unknown slots are the derived class's.
//
// Owns:     its thread, and references to its delegates until they are removed. It holds no
//           reference to itself or to its outer object.
// Threads:  as IKivTask. The on... functions are called by the task's thread only, never with a
//           lock held.
// Locks:    one, innermost, not held during calls out.
// Errors:   Start gives E_OUTOFMEMORY when no thread is available and E_NOTREADY after
//           EndTask.
class KIV_PLATFORM_API CKivTaskable : public IKivTaskable {
 public:
  CKivTaskable(const CKivTaskable&) = delete;
  CKivTaskable& operator=(const CKivTaskable&) = delete;

  HRESULT Initialize(uint32_t taskId, IKivTaskDelegate* delegate, void* context) override;
  uint32_t GetTaskID() override;
  HRESULT Start() override;
  HRESULT Pause() override;
  HRESULT Resume() override;
  HRESULT Stop() override;
  enumTaskState GetTaskState() override;

  void onCreate() override {}
  int32_t onStart() override { return 1; }
  void onRunning() override {}
  void onPause() override {}
  void onResume() override {}
  void onStop() override {}
  void onComplete() override {}
  void onProcess(KivTaskProgress* progress) override;
  HRESULT addDelegate(IKivTaskDelegate* delegate, void* context) override;
  HRESULT removeDelegate(IKivTaskDelegate* delegate) override;

  // Stops a run that is under way, then puts the state. E_NOTREADY, with nothing changed, on the
  // task's own thread during a run.
  virtual HRESULT SetTaskState(enumTaskState state);

 protected:
  CKivTaskable();
  ~CKivTaskable();

  // As SetTaskState; before the state is put, and while no run can begin, `prepare` is called on this
  // thread. When it says no, the state stays. It may not steer the task.
  HRESULT EnterState(enumTaskState state, const std::function<bool()>& prepare);

  // The first thing in the destructor of the most derived class, whose functions the thread calls:
  // stops a run that is under way and lets none begin. On the task's own thread, when a function of
  // the task led to its destruction, that function may not touch the task afterwards.
  void EndTask();

 private:
  struct Core;
  std::shared_ptr<Core> core_;
};
