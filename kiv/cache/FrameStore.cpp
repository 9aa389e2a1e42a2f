#include "kiv/cache/FrameStore.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "kiv/platform/FrameFacts.h"
#include "kiv/platform/PictureFacts.h"

namespace {

int64_t BytesOf(IKivFrame& frame) {
  return static_cast<int64_t>(kiv::PictureBytesOf(kiv::SizeOf(frame)));
}

}  // namespace

int32_t FrameStore::Capacity() const {
  if (lastPictureBytes_ <= 0) return kMostFrames;
  const int64_t fitting = kMostBytes / lastPictureBytes_;
  return static_cast<int32_t>(std::clamp<int64_t>(fitting, kFewestFrames, kMostFrames));
}

IKivFrame* FrameStore::Find(int64_t index) const {
  const auto found = frames_.find(index);
  return found == frames_.end() ? nullptr : found->second.frame.Get();
}

void FrameStore::Put(int64_t index, const KivComPtr<IKivFrame>& frame, int64_t wanted) {
  const int64_t bytes = BytesOf(*frame);
  Entry& entry = frames_.try_emplace(index, Entry{nullptr, 0}).first->second;
  bytes_ += bytes - entry.bytes;
  entry = {frame, bytes};
  lastPictureBytes_ = bytes;
  while (IsOverfull()) Retire(Farthest(wanted));
  while (!spares_.empty() && bytes_ + spareBytes_ > kMostBytes) DropSpare();
}

void FrameStore::DropSpare() {
  spareBytes_ -= BytesOf(*spares_.front());
  spares_.pop();
}

bool FrameStore::IsOverfull() const {
  const auto count = static_cast<int64_t>(frames_.size());
  return count > kMostFrames || (count > kFewestFrames && bytes_ > kMostBytes);
}

// Of two as far away the later one: playing backwards needs it last.
FrameStore::Entries::iterator FrameStore::Farthest(int64_t wanted) {
  const auto lowest = frames_.begin();
  const auto highest = std::prev(frames_.end());
  return wanted - lowest->first > highest->first - wanted ? lowest : highest;
}

FrameStore::Entries::iterator FrameStore::Retire(Entries::iterator entry) {
  const int64_t bytes = entry->second.bytes;
  bytes_ -= bytes;
  if (spares_.size() < kMostSpares && bytes_ + spareBytes_ + bytes <= kMostBytes) {
    spares_.push(entry->second.frame);
    spareBytes_ += bytes;
  }
  return frames_.erase(entry);
}

void FrameStore::Evict(const CacheSpan& span) {
  for (auto entry = frames_.begin(); entry != frames_.end();) {
    entry = span.Contains(entry->first) ? std::next(entry) : Retire(entry);
  }
}

KivComPtr<IKivFrame> FrameStore::TakeSpare(const KivSize& size) {
  while (!spares_.empty()) {
    KivComPtr<IKivFrame> spare = spares_.front();
    DropSpare();
    if (kiv::SizeOf(*spare) == size) return spare;
  }
  return nullptr;
}
