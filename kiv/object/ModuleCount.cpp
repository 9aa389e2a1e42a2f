#include "kiv/object/ModuleCount.h"

#include <atomic>

namespace scombase {
namespace {

std::atomic<int32_t> liveObjects{0};
std::atomic<int32_t> serverLocks{0};

}  // namespace

ModuleObject::ModuleObject() { liveObjects.fetch_add(1, std::memory_order_relaxed); }
ModuleObject::~ModuleObject() { liveObjects.fetch_sub(1, std::memory_order_release); }

int32_t LiveObjects() { return liveObjects.load(std::memory_order_acquire); }

void LockModule() { serverLocks.fetch_add(1); }

bool UnlockModule() {
  int32_t held = serverLocks.load();
  while (held > 0) {
    if (serverLocks.compare_exchange_weak(held, held - 1)) return true;
  }
  return false;
}

bool CanUnloadModule() { return LiveObjects() == 0 && serverLocks.load() == 0; }

}  // namespace scombase
