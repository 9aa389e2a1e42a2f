#include "test/support/ThreadRefusal.h"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>

namespace {

std::atomic<bool> threadsAreRefused{false};
std::atomic<int> refusals{0};

using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

}  // namespace

// Stands before the C library's for the whole program.
extern "C" __attribute__((visibility("default"))) int pthread_create(pthread_t* thread,
                                                                     const pthread_attr_t* how,
                                                                     void* (*run)(void*),
                                                                     void* argument) {
  static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
  if (!threadsAreRefused) return create(thread, how, run, argument);
  ++refusals;
  return EAGAIN;
}

namespace test {

ThreadRefusal::ThreadRefusal() {
  refusals = 0;
  threadsAreRefused = true;
}

ThreadRefusal::~ThreadRefusal() { threadsAreRefused = false; }

int ThreadRefusal::Count() const { return refusals; }

}  // namespace test
