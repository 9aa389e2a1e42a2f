// Holds a thread at a place until a test lets it go on.
#pragma once

#include <atomic>
#include <future>

namespace test {

// Holds whoever passes first until it is opened; later passers go through.
class Gate {
 public:
  void Pass() {
    if (passed_.exchange(true)) return;
    reached_.set_value();
    open_.get_future().wait();
  }
  void AwaitReached() { reached_.get_future().wait(); }
  void Open() { open_.set_value(); }

 private:
  std::atomic<bool> passed_{false};
  std::promise<void> reached_, open_;
};

}  // namespace test
