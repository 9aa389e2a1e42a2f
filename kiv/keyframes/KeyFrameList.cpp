#include "kiv/keyframes/KeyFrameList.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "kiv/keyframes/SixDecimals.h"

namespace kiv {
namespace {

bool IndexBelow(const KeyFrame& frame, int32_t index) { return frame.index < index; }
bool IndexAbove(int32_t index, const KeyFrame& frame) { return index < frame.index; }
bool IndicesAscend(const KeyFrame& a, const KeyFrame& b) { return a.index < b.index; }

template <typename T>
bool ReadNativeAs(const CKivValue& value, KeyFrameNative* native) {
  T read{};
  if (value.GetValue(&read) != 0) return false;
  *native = read;
  return true;
}

double Between(double previous, double next, double share) {
  return ToSixDecimals((next - previous) * share + previous);
}

KivRectF Between(const KivRectF& previous, const KivRectF& next, double share) {
  return {Between(previous.left, next.left, share), Between(previous.top, next.top, share),
          Between(previous.width, next.width, share), Between(previous.height, next.height, share)};
}

template <typename T>
KeyFrameNative Interpolate(const KeyFrame& previous, const KeyFrame& next, int32_t at) {
  const T* const from = std::get_if<T>(&previous.native);
  const T* const to = std::get_if<T>(&next.native);
  if (!from || !to) return {};
  const int64_t passed = int64_t{at} - previous.index;
  const int64_t length = int64_t{next.index} - previous.index;
  return Between(*from, *to, static_cast<double>(passed) / static_cast<double>(length));
}

}  // namespace

KeyFrame MakeKeyFrame(int32_t index, std::unique_ptr<const CKivValue> value) {
  KeyFrame frame{index, {}, std::move(value)};
  if (!ReadNativeAs<double>(*frame.value, &frame.native)) {
    ReadNativeAs<KivRectF>(*frame.value, &frame.native);
  }
  return frame;
}

const KeyFrame* KeyFrameList::At(int32_t position) const {
  if (position < 0 || static_cast<size_t>(position) >= frames_.size()) return nullptr;
  return &frames_[static_cast<size_t>(position)];
}

KeyFrame* KeyFrameList::PlaceOf(int32_t position) { return const_cast<KeyFrame*>(At(position)); }

const KeyFrame* KeyFrameList::Find(int32_t index) const { return FindAround(index).here; }

void KeyFrameList::Add(KeyFrame frame) {
  if (const KeyFrame* const here = Find(frame.index)) {
    *PlaceOf(static_cast<int32_t>(here - frames_.data())) = std::move(frame);
    return;
  }
  if (!ascending_) {
    frames_.reserve(frames_.size() + 1);
    std::stable_sort(frames_.begin(), frames_.end(), IndicesAscend);
    ascending_ = true;
  }
  const auto place = std::upper_bound(frames_.begin(), frames_.end(), frame.index, IndexAbove);
  frames_.insert(place, std::move(frame));
}

void KeyFrameList::Append(std::vector<KeyFrame> frames) {
  frames_.reserve(frames_.size() + frames.size());
  std::move(frames.begin(), frames.end(), std::back_inserter(frames_));
  CheckOrder();
}

bool KeyFrameList::ReplaceAt(int32_t position, KeyFrame frame) {
  KeyFrame* const place = PlaceOf(position);
  if (!place) return false;
  *place = std::move(frame);
  CheckOrder();
  return true;
}

bool KeyFrameList::RemoveAt(int32_t position) {
  if (!At(position)) return false;
  frames_.erase(frames_.begin() + position);
  if (!ascending_) CheckOrder();
  return true;
}

bool KeyFrameList::Remove(int32_t index) {
  const KeyFrame* const here = Find(index);
  return here && RemoveAt(static_cast<int32_t>(here - frames_.data()));
}

void KeyFrameList::Clear() {
  frames_.clear();
  ascending_ = true;
}

void KeyFrameList::CheckOrder() {
  ascending_ = std::is_sorted(frames_.begin(), frames_.end(), IndicesAscend);
}

KeyFrameList::Around KeyFrameList::FindAround(int32_t at) const {
  if (!ascending_) return ScanAround(at);
  Around around;
  const auto here = std::lower_bound(frames_.begin(), frames_.end(), at, IndexBelow);
  if (here != frames_.begin()) around.previous = &*std::prev(here);
  if (here == frames_.end()) return around;
  (here->index == at ? around.here : around.next) = &*here;
  return around;
}

KeyFrameList::Around KeyFrameList::ScanAround(int32_t at) const {
  Around around;
  for (const KeyFrame& frame : frames_) {
    if (frame.index == at && !around.here) around.here = &frame;
    if (frame.index < at) around.previous = &frame;
    if (frame.index > at && !around.next) around.next = &frame;
  }
  return around;
}

KeyFrameNative KeyFrameList::ValueAt(int32_t at, KeyFrameKind kind) const {
  if (frames_.empty()) return {};
  if (frames_.size() == 1) return frames_.front().native;
  const Around around = FindAround(at);
  if (around.here) return around.here->native;
  if (!around.previous) return frames_.front().native;
  if (!around.next) return frames_.back().native;
  if (kind == KeyFrameKind::kDouble) return Interpolate<double>(*around.previous, *around.next, at);
  if (kind == KeyFrameKind::kRectF) {
    return Interpolate<KivRectF>(*around.previous, *around.next, at);
  }
  return {};
}

}  // namespace kiv
