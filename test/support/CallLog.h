// What a fake was asked, in order.
//
// Threads:  any.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kiv/values/ResultCodes.h"

namespace test {

using Calls = std::vector<std::string>;

class CallLog {
 public:
  // Runs what was set for every call and for this one, outside the log's lock. Returns `answer`.
  HRESULT Add(const std::string& call, HRESULT answer = S_OK) {
    std::function<void()> action;
    std::function<void(const std::string&)> every;
    {
      const std::lock_guard hold(lock_);
      calls_.push_back(call);
      if (const auto found = actions_.find(call); found != actions_.end()) action = found->second;
      every = every_;
    }
    added_.notify_all();
    if (every) every(call);
    if (action) action();
    return answer;
  }
  void OnEvery(std::function<void(const std::string&)> action) {
    const std::lock_guard hold(lock_);
    every_ = std::move(action);
  }
  // `call` is the whole text, such as "Seek 99".
  void On(const std::string& call, std::function<void()> action) {
    const std::lock_guard hold(lock_);
    actions_[call] = std::move(action);
  }
  // The calls so far; the log is empty afterwards.
  Calls Take() {
    const std::lock_guard hold(lock_);
    return std::exchange(calls_, {});
  }
  // The same, once there are `count` of them; what there is when they do not come.
  Calls TakeWhen(size_t count) {
    std::unique_lock hold(lock_);
    added_.wait_for(hold, std::chrono::seconds(20), [&] { return calls_.size() >= count; });
    return std::exchange(calls_, {});
  }

 private:
  std::mutex lock_;
  std::condition_variable added_;
  Calls calls_;
  std::function<void(const std::string&)> every_;
  std::map<std::string, std::function<void()>> actions_;
};

}  // namespace test
