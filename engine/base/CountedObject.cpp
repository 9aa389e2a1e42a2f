#include "engine/base/CountedObject.h"

namespace kiv {
namespace {

std::atomic<int64_t> liveObjects{0};

}  // namespace

int64_t LiveObjectCount() { return liveObjects.load(std::memory_order_relaxed); }
void NoteObjectBorn() { liveObjects.fetch_add(1, std::memory_order_relaxed); }
void NoteObjectGone() { liveObjects.fetch_sub(1, std::memory_order_relaxed); }

}  // namespace kiv
