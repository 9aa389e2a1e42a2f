#include "engine/media/keep/FillPlan.h"

#include <algorithm>
#include <utility>

namespace kiv {
namespace {

// Frames that small groups are put together to, and that are decoded ahead and kept at least.
constexpr int64_t kWorthwhile = 64;
constexpr int64_t kNearEnd = 32;
// Pictures that are in use in addition to the kept ones.
constexpr int64_t kInUse = 2;
constexpr int64_t kFewest = 2;
constexpr int64_t kPlainFraction = 4;
// Packed pictures are kept in chunks of this size.
constexpr int64_t kLeastPacked = int64_t{128} << 10;
// A group is followed no further than this; it does not fit anyhow.
constexpr int64_t kLongestGroup = 1024;

}  // namespace

FillPlanner::FillPlanner(std::shared_ptr<FrameIndex> index, int64_t plainBytes)
    : index_(std::move(index)),
      plainBytes_(std::max(plainBytes, int64_t{1})),
      packedBytes_(std::max(plainBytes_ * 5 / 8, std::min(plainBytes_, kLeastPacked))) {}

// A moving average: footage changes slowly.
void FillPlanner::LearnPacked(int64_t bytes) {
  packedBytes_ = std::exchange(knowsPacked_, true) ? (7 * packedBytes_ + bytes) / 8 : bytes;
  packedBytes_ = std::max(packedBytes_, int64_t{1});
}

void FillPlanner::LearnPlain(int64_t bytes) { plainBytes_ = std::max(bytes, int64_t{1}); }

int64_t FillPlanner::Capacity(int64_t available, bool packs) const {
  return available / (packs ? packedBytes_ : plainBytes_) - kInUse;
}

int64_t FillPlanner::WorthKeepingUpTo(int64_t frame) {
  return std::max(GroupOf(frame).last, frame + kWorthwhile);
}

bool FillPlanner::IsNearEnd(int64_t frame) const {
  return index_->Clamp(frame + kNearEnd) < frame + kNearEnd;
}

bool FillPlanner::CanFill(const PictureStore& store) const {
  return Capacity(store.AvailableLocked(), true) >= kFewest;
}

// Packing a picture costs about as much as the system asks for fresh memory to keep it as it is in,
// so only groups that come and go in a fraction of the memory are better off plain.
bool FillPlanner::Packs(int64_t frame, int64_t available) {
  const Group group = GroupOf(frame);
  return group.last - group.first + 1 > Capacity(available, false) / kPlainFraction;
}

// The frames around `frame` whose decoding begins at the same key packet.
FillPlanner::Group FillPlanner::GroupOf(int64_t frame) {
  if (group_.first <= frame && frame <= group_.last) return group_;
  const int32_t key = index_->RouteTo(frame).key;
  group_ = {frame, frame};
  while (group_.first > 0 && frame - group_.first < kLongestGroup &&
         index_->RouteTo(group_.first - 1).key == key) {
    --group_.first;
  }
  while (group_.last - frame < kLongestGroup && index_->Clamp(group_.last + 1) > group_.last &&
         index_->RouteTo(group_.last + 1).key == key) {
    ++group_.last;
  }
  return group_;
}

FillPlan FillPlanner::Make(const ReadPattern& pattern, const PictureStore& store, int64_t last) {
  FillPlan plan;
  const int64_t available = store.AvailableLocked();
  plan.last = last;
  plan.packs = Packs(last, available);
  plan.generation = pattern.Generation();
  const int64_t capacity = std::max(Capacity(available, plan.packs), kFewest);
  plan.first = std::max(GroupOf(last).first, last - capacity + 1);
  const bool several = pattern.IsSteady() || !pattern.IsConfirmed();
  while (several && plan.first > 0) {
    const int64_t first = GroupOf(plan.first - 1).first;
    if (plan.last - first + 1 > std::min(kWorthwhile, capacity)) break;
    plan.first = first;
  }
  return plan;
}

FillPlan FillPlanner::ForReader(const ReadPattern& pattern, const PictureStore& store,
                                int64_t wanted) {
  int64_t last = wanted;
  const int64_t top = std::min(pattern.Top(), GroupOf(wanted).last);
  while (last < top && !store.HasLocked(last + 1)) ++last;
  FillPlan plan = Make(pattern, store, last);
  plan.first = std::min(plan.first, wanted);
  plan.wanted = wanted;
  return plan;
}

FillPlan FillPlanner::Ahead(const ReadPattern& pattern, const PictureStore& store) {
  if (!pattern.IsSteady()) return {};
  const int64_t frame = pattern.Frame();
  const int64_t hole = store.HoleBelowLocked(frame);
  if (hole < 0 || hole == frame) return {};
  const Group group = GroupOf(frame);
  const bool isNext = hole >= group.first - 1;
  if (!isNext && frame - hole >= kWorthwhile) return {};
  return Make(pattern, store, hole);
}

}  // namespace kiv
