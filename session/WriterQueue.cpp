#include "session/WriterQueue.h"

#include <chrono>
#include <exception>
#include <new>
#include <system_error>
#include <utility>

#include "kiv/platform/KivCommon.h"
#include "session/Fail.h"

namespace kiv::session {
namespace {

using Clock = std::chrono::steady_clock;

// How long an interrupt may go unnoticed.
constexpr std::chrono::milliseconds kPatience{50};

}  // namespace

WriterQueue::WriterQueue(std::unique_ptr<kiv::Writer> writer, std::atomic<bool>* cancelled,
                         std::function<void()> onWait)
    : writer_(std::move(writer)), cancelled_(cancelled), onWait_(std::move(onWait)) {
  try {
    thread_ = std::thread([this] { Run(); });
  } catch (const std::system_error&) {
    // The system has no thread to give: whoever pushes writes.
  }
}

WriterQueue::~WriterQueue() {
  if (!thread_.joinable()) return;
  {
    const MutexLock held(lock_);
    abandoned_ = true;
    // The thread may be stuck in a pipe that nobody reads; by the flag the writer gives up.
    *cancelled_ = !ended_;
    changed_.WakeAll();
  }
  thread_.join();
}

namespace {

// The writer's thread has nobody to catch what it throws.
template <typename Step>
kiv::WriteError Guarded(const Step& step) {
  try {
    return step();
  } catch (const std::bad_alloc&) {
    return "out of memory";
  } catch (const std::exception& error) {
    return error.what();
  }
}

}  // namespace

void WriterQueue::WaitLocked() {
  if (changed_.WaitUntil(lock_, Clock::now() + kPatience)) return;
  const MutexUnlock gap(lock_);
  onWait_();
}

void WriterQueue::ThrowErrorLocked() {
  if (error_) throw SessionError(ErrorCode::kWriteFailed, *error_);
}

void WriterQueue::Push(KivComPtr<IKivFrame> frame) {
  if (!thread_.joinable()) {
    onWait_();
    if (const auto error = WriteOne(*frame)) throw SessionError(ErrorCode::kWriteFailed, *error);
    return;
  }
  const MutexLock held(lock_);
  while (frames_.size() >= kCapacity && !error_) WaitLocked();
  ThrowErrorLocked();
  frames_.push_back(std::move(frame));
  changed_.WakeAll();
}

void WriterQueue::Finish() {
  {
    const MutexLock held(lock_);
    complete_ = true;
    changed_.WakeAll();
  }
  if (!thread_.joinable()) Report(std::nullopt);
  const MutexLock held(lock_);
  while (!ended_) WaitLocked();
  ThrowErrorLocked();
}

void WriterQueue::Run() {
  kiv::WriteError error;
  while (!error) {
    const KivComPtr<IKivFrame> frame = Next();
    if (!frame) break;
    error = WriteOne(*frame);
  }
  Report(std::move(error));
}

KivComPtr<IKivFrame> WriterQueue::Next() {
  const MutexLock held(lock_);
  while (frames_.empty() && !complete_ && !abandoned_) changed_.Wait(lock_);
  if (abandoned_ || frames_.empty()) return nullptr;
  KivComPtr<IKivFrame> frame = std::move(frames_.front());
  frames_.pop_front();
  changed_.WakeAll();
  return frame;
}

kiv::WriteError WriterQueue::WriteOne(IKivFrame& frame) {
  const auto start = Clock::now();
  auto error = Guarded(
      [&] { return writer_->Write(static_cast<const uint8_t*>(KivCommon::ReadPixels(&frame))); });
  nanoseconds_ +=
      std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start).count();
  return error;
}

// Finishing belongs to this thread too: it may write as long as a frame does.
void WriterQueue::Report(kiv::WriteError error) {
  bool finish = false;
  {
    const MutexLock held(lock_);
    finish = !error && complete_ && !abandoned_;
  }
  const auto start = Clock::now();
  if (finish) error = Guarded([&] { return writer_->Finish(); });
  nanoseconds_ +=
      std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start).count();
  writer_.reset();
  const MutexLock held(lock_);
  error_ = std::move(error);
  ended_ = true;
  changed_.WakeAll();
}

}  // namespace kiv::session
