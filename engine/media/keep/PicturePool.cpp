#include "engine/media/keep/PicturePool.h"

#include <algorithm>

namespace kiv {
namespace {

// Farther than any frame lies ahead.
constexpr int64_t kPassedDistance = int64_t{1} << 40;

}  // namespace

PicturePool& PicturePool::Shared() {
  static PicturePool* const pool = new PicturePool;
  return *pool;
}

void PicturePool::SetLimit(int64_t bytes) {
  const MutexLock guard(lock_);
  limit_ = std::max(bytes, int64_t{0});
  while (bytes_ > limit_) {
    PictureStore* const store = LargestLocked(nullptr);
    store->AssertLocked();
    store->DropLocked(store->LeastNeededLocked());
  }
  TellAllLocked();
}

PicturePoolFigures PicturePool::Figures() const {
  const MutexLock guard(lock_);
  return {limit_, bytes_, mostBytes_};
}

int64_t PicturePool::ShareLocked() const {
  return limit_ / static_cast<int64_t>(std::max(stores_.size(), size_t{1}));
}

PictureStore* PicturePool::LargestLocked(const PictureStore* except) const {
  PictureStore* largest = nullptr;
  int64_t most = -1;
  for (PictureStore* const store : stores_) {
    store->AssertLocked();
    if (store == except || store->bytes_ <= most) continue;
    most = store->bytes_;
    largest = store;
  }
  return largest;
}

// A store that holds less than its share takes from the one that holds most.
bool PicturePool::MakeRoomElsewhereLocked(const PictureStore& asking) {
  asking.AssertLocked();
  if (asking.bytes_ >= ShareLocked()) return false;
  PictureStore* const largest = LargestLocked(&asking);
  if (!largest) return false;
  largest->AssertLocked();
  if (largest->bytes_ <= ShareLocked()) return false;
  largest->DropLocked(largest->LeastNeededLocked());
  return true;
}

void PicturePool::CountLocked(int64_t bytes) {
  bytes_ += bytes;
  mostBytes_ = std::max(mostBytes_, bytes_);
}

void PicturePool::TellAllLocked() const {
  for (PictureStore* const store : stores_) store->changed_.WakeAll();
}

PictureStore::PictureStore(PicturePool& pool) : pool_(pool) {
  const MutexLock guard(pool_.lock_);
  pool_.stores_.push_back(this);
}

PictureStore::~PictureStore() {
  const Guard guard(*this);
  while (!pictures_.empty()) DropLocked(pictures_.begin());
  std::erase(pool_.stores_, this);
  pool_.TellAllLocked();
}

void PictureStore::WaitLocked() {
  pool_.AssertLocked();
  changed_.Wait(pool_.lock_);
}

std::shared_ptr<const KeptPicture> PictureStore::FindLocked(int64_t frame) const {
  const auto found = pictures_.find(frame);
  return found == pictures_.end() ? nullptr : found->second;
}

int64_t PictureStore::HoleBelowLocked(int64_t frame) const {
  auto at = pictures_.find(frame);
  if (at == pictures_.end()) return frame;
  while (at != pictures_.begin()) {
    --at;
    if (at->first != frame - 1) return frame - 1;
    --frame;
  }
  return frame - 1;
}

void PictureStore::ReadAtLocked(int64_t frame, bool backward) {
  readAt_ = frame;
  backward_ = backward;
}

void PictureStore::DropAboveLocked(int64_t frame) {
  while (!pictures_.empty() && pictures_.rbegin()->first > frame) {
    DropLocked(std::prev(pictures_.end()));
  }
}

int64_t PictureStore::AvailableLocked() const {
  pool_.AssertLocked();
  return std::max(pool_.ShareLocked(), pool_.limit_ - (pool_.bytes_ - bytes_));
}

bool PictureStore::IsPassedLocked(int64_t frame) const {
  return backward_ ? frame > readAt_ : frame < readAt_;
}

int64_t PictureStore::DistanceLocked(int64_t frame) const {
  const int64_t distance = std::abs(frame - readAt_);
  return IsPassedLocked(frame) ? distance + kPassedDistance : distance;
}

// The distance grows from the reader to both sides, so it is the first or the last.
PictureStore::Pictures::iterator PictureStore::LeastNeededLocked() {
  const auto first = pictures_.begin();
  const auto last = std::prev(pictures_.end());
  return DistanceLocked(first->first) > DistanceLocked(last->first) ? first : last;
}

void PictureStore::DropLocked(Pictures::iterator picture) {
  pool_.AssertLocked();
  bytes_ -= picture->second->bytes;
  pool_.CountLocked(-picture->second->bytes);
  pictures_.erase(picture);
}

bool PictureStore::GiveUpLocked(int64_t forFrame, Yield yield) {
  if (pictures_.empty() || yield == Yield::kNothing) return false;
  const auto least = LeastNeededLocked();
  if (yield == Yield::kPassed && !IsPassedLocked(least->first)) return false;
  if (DistanceLocked(least->first) <= DistanceLocked(forFrame)) return false;
  DropLocked(least);
  return true;
}

bool PictureStore::PutLocked(int64_t frame, std::shared_ptr<const KeptPicture> picture,
                             Yield yield) {
  if (HasLocked(frame)) return true;
  pool_.AssertLocked();
  while (pool_.bytes_ + picture->bytes > pool_.limit_) {
    if (!pool_.MakeRoomElsewhereLocked(*this) && !GiveUpLocked(frame, yield)) return false;
  }
  bytes_ += picture->bytes;
  mostBytes_ = std::max(mostBytes_, bytes_);
  pool_.CountLocked(picture->bytes);
  pictures_.emplace(frame, std::move(picture));
  changed_.WakeAll();
  return true;
}

}  // namespace kiv
