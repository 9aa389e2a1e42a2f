#include "session/Stabilization.h"

#include <chrono>
#include <filesystem>
#include <system_error>

#include "kiv/base/Mutex.h"
#include "kiv/platform/FullKeys.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Stabilizer.h"
#include "kiv/values/Saturate.h"
#include "session/Fail.h"

namespace kiv::session {
namespace {

// The component keeps paths of this length.
constexpr size_t kLongestPath = 259;
// How long an interrupt, or a run that ends without a word, may go unnoticed.
constexpr std::chrono::milliseconds kGlance{20};

// The same name for the same file, wherever the program is run.
std::wstring FullPath(const std::string& input) {
  std::error_code error;
  const std::filesystem::path full = std::filesystem::canonical(input, error);
  return KivCommon::Char2WChar((error ? input : full.string()).c_str());
}

// Hears from the task's thread how far it is.
//
// Threads:  any.
class Listener {
 public:
  explicit Listener(IKivStabExtendControl& control) : control_(control) {
    control.SetCallback(&Listener::Hear, this);
  }
  // Nobody calls back any more once the run is over.
  ~Listener() {
    control_.Stop();
    control_.SetCallback(nullptr, nullptr);
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  // The percent done, as soon as it is another one, or after a moment.
  int64_t Await(int64_t known) {
    const auto end = std::chrono::steady_clock::now() + kGlance;
    const MutexLock held(lock_);
    while (percent_ == known && changed_.WaitUntil(lock_, end)) {
    }
    return percent_;
  }

 private:
  static void Hear(int32_t state, int64_t percent, void* self) {
    if (state == static_cast<int32_t>(StabCallbackState::kStopped)) return;
    auto* const listener = static_cast<Listener*>(self);
    const MutexLock held(listener->lock_);
    listener->percent_ = percent;
    listener->changed_.WakeAll();
  }

  IKivStabExtendControl& control_;
  Mutex lock_;  // innermost
  Condition changed_;
  int64_t percent_ KIV_GUARDED_BY(lock_) = 0;
};

bool IsUnderWay(enumTaskState state) {
  return state == enumTaskState::kRunning || state == enumTaskState::kPaused;
}

}  // namespace

Stabilization StabilizationOf(const ClipOptions& options, IKivProperties* settings) {
  int32_t enabled = 0;
  Stabilization found{false, kStabLevelDefault};
  settings->GetInt(KivKey::Stabilization::kEnabled, &enabled);
  settings->GetInt(KivKey::Stabilization::kLevel, &found.level);
  found.isOn = enabled != 0;
  if (!options.stabilize) return found;
  const int32_t wanted = options.stabilize->level.value_or(found.level);
  found.isOn = wanted > 0 || !options.stabilize->level;
  // Turned off it keeps its level for the next time; a stored 0 is not a level.
  if (wanted > 0) found.level = wanted;
  if (found.level <= 0) found.level = kStabLevelDefault;
  return found;
}

void StoreStabilization(const Stabilization& stabilization, IKivProperties* settings) {
  settings->SetInt(KivKey::Stabilization::kEnabled, stabilization.isOn ? 1 : 0);
  settings->SetInt(KivKey::Stabilization::kLevel, stabilization.level);
}

void DescribeSource(const std::string& input, const KivStreamInfo& info, IKivProperties* settings,
                    IKivProperties* facts) {
  const std::wstring path = FullPath(input);
  if (path.size() > kLongestPath) {
    Fail(ErrorCode::kUnsupported,
         "cannot stabilize '{}': its full path is longer than {} characters", input, kLongestPath);
  }
  const KivRange whole{0, info.frameCount - 1};
  const std::wstring rangeKey = KivKey::OfVideo(KivKey::Source::kSource_RangeFrameNumber);
  settings->SetString(KivKey::Base::kStrFileFullPath, path.c_str());
  facts->SetInt(KivKey::SourceRender::kSourceRender_CurrentVideoStreamIndex, 0);
  facts->SetRange(rangeKey.c_str(), &whole);
}

bool Analyse(IKivStabExtendControl& control, const std::string& input, int32_t frameCount,
             const ProgressFunction& progress) {
  if (control.GetTaskState() == enumTaskState::kFinished) return false;
  Listener listener(control);
  if (control.Start() != S_OK) FailRun("cannot analyse '{}': it could not be started", input);
  for (int64_t shown = 0; IsUnderWay(control.GetTaskState());) {
    shown = listener.Await(shown);
    Report(progress, {Stage::kAnalysis, frameCount * shown / 100, frameCount});
  }
  if (control.GetTaskState() != enumTaskState::kFinished) {
    Fail(ErrorCode::kDamaged, "cannot analyse '{}': its pictures could not be read", input);
  }
  return true;
}

}  // namespace kiv::session
