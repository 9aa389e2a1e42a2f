#include "engine/media/keep/PictureCache.h"

#include <algorithm>
#include <system_error>

#include "engine/base/Boundary.h"
#include "kiv/platform/Logger.h"

namespace kiv {
namespace {

int64_t BytesOf(const AVFrame& picture) {
  int64_t bytes = 0;
  for (const AVBufferRef* const buffer : picture.buf) {
    if (buffer) bytes += static_cast<int64_t>(buffer->size);
  }
  return bytes;
}

}  // namespace

CacheCounts& CacheCounts::operator+=(const CacheCounts& other) {
  reader.decoded += other.reader.decoded;
  reader.passedOver += other.reader.passedOver;
  reader.seeks += other.reader.seeks;
  reader.replaced += other.reader.replaced;
  fromMemory += other.fromMemory;
  bytesNow += other.bytesNow;
  bytesAtMost = std::max(bytesAtMost, other.bytesAtMost);
  return *this;
}

PictureCache::PictureCache(std::unique_ptr<PictureReader> reader, std::shared_ptr<FrameIndex> index,
                           PicturePool& pool)
    : reader_(std::move(reader)),
      given_(NewFrame()),
      unpacked_(NewFrame()),
      store_(pool),
      planner_(std::move(index), reader_->ExpectedBytes()) {}

PictureCache::~PictureCache() {
  {
    const PictureStore::Guard guard(store_);
    ending_ = true;
    reader_->Stop();
    store_.WakeAll();
  }
  if (worker_.joinable()) worker_.join();
}

void PictureCache::ExpectBackwards(bool backwards) {
  const PictureStore::Guard guard(store_);
  pattern_.Expect(backwards);
}

CacheCounts PictureCache::Counts() const {
  const PictureStore::Guard guard(store_);
  return {reader_->Counts(), fromMemory_, store_.BytesLocked(), store_.MostBytesLocked()};
}

HRESULT PictureCache::At(int64_t frame, const AVFrame** picture) {
  *picture = nullptr;
  std::shared_ptr<const KeptPicture> kept;
  {
    const PictureStore::Guard guard(store_);
    ++reads_;
    pattern_.Note(frame);
    store_.ReadAtLocked(pattern_.IsBackward() ? pattern_.Top() : frame, pattern_.IsBackward());
    // Memory that comes round again is cheaper than fresh memory, even where there is plenty.
    if (pattern_.IsSteady() && !pattern_.IsScrubbing()) {
      store_.DropAboveLocked(planner_.WorthKeepingUpTo(frame));
    }
    store_.WakeAll();
    kept = store_.FindLocked(frame);
    if (kept) ++fromMemory_;
    if (!kept && AsksForFillLocked(frame)) kept = WaitForFillLocked(frame);
    if (!kept) return ReadDirectlyLocked(frame, picture);
  }
  return Hand(*kept, picture);
}

// Somewhere in the middle the first picture is shown before the rest of its group is cared for.
bool PictureCache::AsksForFillLocked(int64_t frame) const {
  if (threadRefused_ || !pattern_.AsksForFill() || !planner_.CanFill(store_)) return false;
  return pattern_.IsConfirmed() || planner_.IsNearEnd(frame);
}

HRESULT PictureCache::Hand(const KeptPicture& kept, const AVFrame** picture) {
  if (kept.packed) {
    if (kept.packed->Unpack(unpacked_.get()) < 0) throw std::bad_alloc();
    *picture = unpacked_.get();
    return S_OK;
  }
  av_frame_unref(given_.get());
  if (av_frame_ref(given_.get(), kept.plain.get()) < 0) throw std::bad_alloc();
  *picture = given_.get();
  return S_OK;
}

bool PictureCache::StartWorkerLocked() {
  try {
    worker_ = std::thread(&PictureCache::Work, this);
  } catch (const std::system_error& error) {
    KIV_LOG(LogLevel::kFailure, L"PictureCache: nothing is decoded ahead: %hs", error.what());
    threadRefused_ = true;
  }
  return !threadRefused_;
}

// Null when the thread cannot provide it.
std::shared_ptr<const KeptPicture> PictureCache::WaitForFillLocked(int64_t frame) {
  if (!worker_.joinable() && !StartWorkerLocked()) return nullptr;
  wanted_ = frame;
  store_.WakeAll();
  while (wanted_ == frame && !store_.HasLocked(frame)) store_.WaitLocked();
  wanted_ = -1;
  return store_.FindLocked(frame);
}

HRESULT PictureCache::ReadDirectlyLocked(int64_t frame, const AVFrame** picture) {
  HRESULT hr = S_OK;
  ++directReads_;
  reader_->Stop();
  {
    const PictureStore::Gap gap(store_);
    store_.WakeAll();
    hr = AtBoundary([&] { return ReadAlone(frame); });
  }
  --directReads_;
  if (Succeeded(hr) && pattern_.Returns()) KeepDirectLocked(frame);
  store_.WakeAll();
  if (Succeeded(hr)) *picture = given_.get();
  return hr;
}

HRESULT PictureCache::ReadAlone(int64_t frame) {
  const MutexLock reading(readerLock_);
  reader_->Resume();
  const AVFrame* read = nullptr;
  if (const HRESULT hr = reader_->At(frame, &read); Failed(hr)) return hr;
  av_frame_unref(given_.get());
  return av_frame_ref(given_.get(), read) < 0 ? E_OUTOFMEMORY : S_OK;
}

void PictureCache::KeepDirectLocked(int64_t frame) {
  const bool packs = planner_.Packs(frame, store_.AvailableLocked());
  std::shared_ptr<const KeptPicture> kept;
  {
    const PictureStore::Gap gap(store_);
    kept = Keep(*given_, packs, &scratch_);
  }
  store_.PutLocked(frame, std::move(kept), Yield::kLessNeeded);
}

std::shared_ptr<const KeptPicture> PictureCache::Keep(const AVFrame& picture, bool packs,
                                                      PackScratch* scratch) {
  const auto kept = std::make_shared<KeptPicture>();
  const int64_t plainBytes = BytesOf(picture);
  if (packs) kept->packed = PackedPicture::Pack(picture, scratch);
  // Small pictures do not fill the chunks that packed ones are kept in.
  if (kept->packed && kept->packed->Bytes() >= plainBytes) kept->packed.reset();
  kept->bytes = kept->packed ? kept->packed->Bytes() : plainBytes;
  if (!kept->packed) {
    kept->plain = NewFrame();
    if (av_frame_ref(kept->plain.get(), &picture) < 0) throw std::bad_alloc();
  }
  const PictureStore::Guard guard(store_);
  if (packs) planner_.LearnPacked(kept->bytes);
  planner_.LearnPlain(plainBytes);
  return kept;
}

void PictureCache::Work() {
  const PictureStore::Guard guard(store_);
  while (!ending_) {
    const FillPlan plan = NextPlanLocked();
    if (plan.IsEmpty()) {
      store_.WaitLocked();
      continue;
    }
    const int64_t reads = reads_;
    bool fruitful = false;
    {
      const PictureStore::Gap gap(store_);
      fruitful = TryFill(plan);
    }
    if (!fruitful) fruitlessAfter_ = reads;
    // A reader that still waits for a frame of this plan reads it without the thread.
    if (plan.Contains(wanted_) && (plan.wanted == wanted_ || !fruitful)) wanted_ = -1;
    store_.WakeAll();
  }
}

// True when something was gained.
bool PictureCache::TryFill(const FillPlan& plan) {
  try {
    return Fill(plan);
  } catch (const std::exception& error) {
    KIV_LOG(LogLevel::kFailure, L"PictureCache: decoding ahead ended: %hs", error.what());
    return false;
  }
}

FillPlan PictureCache::NextPlanLocked() {
  if (directReads_ > 0) return {};
  if (wanted_ >= 0) return planner_.ForReader(pattern_, store_, wanted_);
  if (fruitlessAfter_ >= reads_) return {};
  return planner_.Ahead(pattern_, store_);
}

bool PictureCache::Fill(const FillPlan& plan) {
  const MutexLock reading(readerLock_);
  reader_->Resume();
  // After the first picture of all nobody knows yet whether the reader turns back.
  bool confirmed = false;
  {
    const PictureStore::Guard guard(store_);
    confirmed = pattern_.IsConfirmed();
  }
  const ReadSpan span = confirmed ? reader_->SpanOf(plan.first, plan.last) : ReadSpan{};
  bool fruitful = false;
  for (int64_t frame = plan.first; frame <= plan.last; ++frame) {
    {
      const PictureStore::Guard guard(store_);
      if (!MayGoOnLocked(plan)) return true;
      if (store_.HasLocked(frame)) continue;
    }
    if (!FillFrame(plan, frame, span)) return fruitful;
    fruitful = true;
  }
  return fruitful;
}

bool PictureCache::FillFrame(const FillPlan& plan, int64_t frame, const ReadSpan& span) {
  const AVFrame* picture = nullptr;
  if (const HRESULT hr = reader_->At(frame, span, &picture); Failed(hr)) return hr == E_ABORT;
  const auto kept = Keep(*picture, plan.packs, &workScratch_);
  const PictureStore::Guard guard(store_);
  return PutWhenRoomLocked(plan, frame, kept);
}

// False when a picture was given up that is needed no sooner than those already there.
bool PictureCache::PutWhenRoomLocked(const FillPlan& plan, int64_t frame,
                                     const std::shared_ptr<const KeptPicture>& kept) {
  while (MayGoOnLocked(plan)) {
    const Yield yield = YieldForLocked(plan);
    if (store_.PutLocked(frame, kept, yield)) return true;
    if (yield == Yield::kLessNeeded) return false;
    store_.WaitLocked();
  }
  return true;
}

bool PictureCache::MayGoOnLocked(const FillPlan& plan) const {
  if (ending_ || directReads_ > 0 || plan.generation != pattern_.Generation()) return false;
  if (wanted_ >= 0) return plan.Contains(wanted_);
  return pattern_.Frame() >= plan.first;
}

// A reader that has arrived in the plan's frames needs them more than anything else. Until then
// the plan uses the memory of what the reader has passed, unless it may return there.
Yield PictureCache::YieldForLocked(const FillPlan& plan) const {
  if (pattern_.Frame() <= plan.last) return Yield::kLessNeeded;
  return pattern_.IsScrubbing() ? Yield::kNothing : Yield::kPassed;
}

}  // namespace kiv
