// What a fake was asked, in order.
//
// Threads:  any.
#pragma once

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
  // Runs what was set for this call, outside the log's lock. Returns `answer`.
  HRESULT Add(const std::string& call, HRESULT answer = S_OK) {
    std::function<void()> action;
    {
      const std::lock_guard hold(lock_);
      calls_.push_back(call);
      if (const auto found = actions_.find(call); found != actions_.end()) action = found->second;
    }
    if (action) action();
    return answer;
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

 private:
  std::mutex lock_;
  Calls calls_;
  std::map<std::string, std::function<void()>> actions_;
};

}  // namespace test
