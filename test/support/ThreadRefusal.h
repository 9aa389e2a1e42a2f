// A system that has no more threads to give.
#pragma once

namespace test {

// While it lives, no thread can be started in this program. One at a time.
class ThreadRefusal {
 public:
  ThreadRefusal();
  ~ThreadRefusal();
  ThreadRefusal(const ThreadRefusal&) = delete;
  ThreadRefusal& operator=(const ThreadRefusal&) = delete;

  // How often a thread was asked for.
  int Count() const;
};

}  // namespace test
