// What a fake was asked, in order, and a gate that holds one of the calls.
//
// Threads:  any.
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace test {

// Holds whoever passes until it is opened. Opened by its destructor too, so that a failed test
// leaves no thread behind.
class Gate {
 public:
  ~Gate() { Open(); }

  void Pass() {
    std::unique_lock hold(lock_);
    arrived_ = true;
    changed_.notify_all();
    changed_.wait(hold, [this] { return open_; });
  }
  void WaitForArrival() {
    std::unique_lock hold(lock_);
    changed_.wait(hold, [this] { return arrived_; });
  }
  void Open() {
    const std::lock_guard hold(lock_);
    open_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  bool arrived_ = false;
  bool open_ = false;
};

class CallLog {
 public:
  // Runs what was set for this call, outside the log's lock.
  void Add(const std::string& call) {
    std::function<void()> action;
    {
      const std::lock_guard hold(lock_);
      calls_.push_back(call);
      if (const auto found = actions_.find(call); found != actions_.end()) action = found->second;
    }
    if (action) action();
  }
  template <typename Number>
  void Add(const std::string& call, Number number) {
    Add(call + " " + std::to_string(number));
  }

  // `call` is the whole text, such as "Seek 99".
  void On(const std::string& call, std::function<void()> action) {
    const std::lock_guard hold(lock_);
    actions_[call] = std::move(action);
  }
  std::vector<std::string> Calls() const {
    const std::lock_guard hold(lock_);
    return calls_;
  }
  // The calls so far; the log is empty afterwards.
  std::vector<std::string> Take() {
    const std::lock_guard hold(lock_);
    return std::exchange(calls_, {});
  }

 private:
  mutable std::mutex lock_;
  std::vector<std::string> calls_;
  std::map<std::string, std::function<void()>> actions_;
};

using Calls = std::vector<std::string>;

}  // namespace test
