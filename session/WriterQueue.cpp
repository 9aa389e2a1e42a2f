#include "session/WriterQueue.h"

#include <pthread.h>

#include <chrono>
#include <csignal>
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

// The default of most signals is to end the process.
bool IsCaught(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_DFL &&
         action.sa_handler != SIG_IGN;
}

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

// The thread may be stuck in a write to a full pipe. A signal makes that write return; as it may
// come between the writer's look at the flag and the write, it is repeated. In a program that does not
// catch it, the queue waits for the write.
WriterQueue::~WriterQueue() {
  if (!thread_.joinable()) return;
  std::unique_lock lock(lock_);
  abandoned_ = true;
  *cancelled_ = !ended_;
  changed_.notify_all();
  while (!ended_) {
    if (changed_.wait_for(lock, kPatience, [this] { return ended_; })) break;
    if (IsCaught(SIGUSR1)) pthread_kill(thread_.native_handle(), SIGUSR1);
  }
  lock.unlock();
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

template <typename Condition>
void WriterQueue::WaitFor(std::unique_lock<std::mutex>& lock, Condition condition) {
  while (!changed_.wait_for(lock, kPatience, condition)) onWait_();
}

void WriterQueue::Push(KivComPtr<IKivFrame> frame) {
  if (!thread_.joinable()) {
    onWait_();
    if (const auto error = WriteOne(*frame)) throw SessionError(ErrorCode::kWriteFailed, *error);
    return;
  }
  std::unique_lock lock(lock_);
  WaitFor(lock, [this] { return frames_.size() < kCapacity || error_; });
  if (error_) throw SessionError(ErrorCode::kWriteFailed, *error_);
  frames_.push_back(std::move(frame));
  changed_.notify_all();
}

void WriterQueue::Finish() {
  std::unique_lock lock(lock_);
  complete_ = true;
  if (!thread_.joinable()) {
    lock.unlock();
    Report(std::nullopt);
    lock.lock();
  }
  changed_.notify_all();
  WaitFor(lock, [this] { return ended_; });
  if (error_) throw SessionError(ErrorCode::kWriteFailed, *error_);
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
  std::unique_lock lock(lock_);
  changed_.wait(lock, [this] { return !frames_.empty() || complete_ || abandoned_; });
  if (abandoned_ || frames_.empty()) return nullptr;
  KivComPtr<IKivFrame> frame = std::move(frames_.front());
  frames_.pop_front();
  changed_.notify_all();
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
    const std::lock_guard guard(lock_);
    finish = !error && complete_ && !abandoned_;
  }
  const auto start = Clock::now();
  if (finish) error = Guarded([&] { return writer_->Finish(); });
  nanoseconds_ +=
      std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - start).count();
  writer_.reset();
  const std::lock_guard guard(lock_);
  error_ = std::move(error);
  ended_ = true;
  changed_.notify_all();
}

}  // namespace kiv::session
