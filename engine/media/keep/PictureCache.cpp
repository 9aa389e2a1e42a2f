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
    const std::lock_guard guard(store_.Lock());
    ending_ = true;
    reader_->Stop();
    store_.Changed().notify_all();
  }
  if (worker_.joinable()) worker_.join();
}

void PictureCache::ExpectBackwards(bool backwards) {
  const std::lock_guard guard(store_.Lock());
  pattern_.Expect(backwards);
}

CacheCounts PictureCache::Counts() const {
  const std::lock_guard guard(store_.Lock());
  return {reader_->Counts(), fromMemory_, store_.BytesLocked(), store_.MostBytesLocked()};
}

HRESULT PictureCache::At(int64_t frame, const AVFrame** picture) {
  *picture = nullptr;
  std::unique_lock lock(store_.Lock());
  ++reads_;
  pattern_.Note(frame);
  store_.ReadAtLocked(pattern_.IsBackward() ? pattern_.Top() : frame, pattern_.IsBackward());
  // Memory that comes round again is cheaper than fresh memory, even where there is plenty.
  if (pattern_.IsSteady() && !pattern_.IsScrubbing()) {
    store_.DropAboveLocked(planner_.WorthKeepingUpTo(frame));
  }
  store_.Changed().notify_all();
  std::shared_ptr<const KeptPicture> kept = store_.FindLocked(frame);
  if (kept) ++fromMemory_;
  if (!kept && AsksForFillLocked(frame)) kept = WaitForFill(lock, frame);
  if (!kept) return ReadDirectly(lock, frame, picture);
  lock.unlock();
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

bool PictureCache::StartWorker() {
  try {
    worker_ = std::thread(&PictureCache::Work, this);
  } catch (const std::system_error& error) {
    KIV_LOG(LogLevel::kFailure, L"PictureCache: nothing is decoded ahead: %hs", error.what());
    threadRefused_ = true;
  }
  return !threadRefused_;
}

// Null when the thread cannot provide it.
std::shared_ptr<const KeptPicture> PictureCache::WaitForFill(std::unique_lock<std::mutex>& lock,
                                                             int64_t frame) {
  if (!worker_.joinable() && !StartWorker()) return nullptr;
  wanted_ = frame;
  store_.Changed().notify_all();
  store_.Changed().wait(lock, [&] { return wanted_ != frame || store_.HasLocked(frame); });
  wanted_ = -1;
  return store_.FindLocked(frame);
}

HRESULT PictureCache::ReadDirectly(std::unique_lock<std::mutex>& lock, int64_t frame,
                                   const AVFrame** picture) {
  ++directReads_;
  reader_->Stop();
  lock.unlock();
  store_.Changed().notify_all();
  const HRESULT hr = AtBoundary([&] { return ReadAlone(frame); });
  lock.lock();
  --directReads_;
  if (Succeeded(hr) && pattern_.Returns()) KeepDirect(lock, frame);
  store_.Changed().notify_all();
  if (Succeeded(hr)) *picture = given_.get();
  return hr;
}

HRESULT PictureCache::ReadAlone(int64_t frame) {
  const std::lock_guard reading(readerLock_);
  reader_->Resume();
  const AVFrame* read = nullptr;
  if (const HRESULT hr = reader_->At(frame, &read); Failed(hr)) return hr;
  av_frame_unref(given_.get());
  return av_frame_ref(given_.get(), read) < 0 ? E_OUTOFMEMORY : S_OK;
}

void PictureCache::KeepDirect(std::unique_lock<std::mutex>& lock, int64_t frame) {
  const bool packs = planner_.Packs(frame, store_.AvailableLocked());
  lock.unlock();
  auto kept = Keep(*given_, packs, &scratch_);
  lock.lock();
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
  const std::lock_guard guard(store_.Lock());
  if (packs) planner_.LearnPacked(kept->bytes);
  planner_.LearnPlain(plainBytes);
  return kept;
}

void PictureCache::Work() {
  std::unique_lock lock(store_.Lock());
  while (!ending_) {
    const FillPlan plan = NextPlanLocked();
    if (plan.IsEmpty()) {
      store_.Changed().wait(lock);
      continue;
    }
    const int64_t reads = reads_;
    lock.unlock();
    bool fruitful = false;
    try {
      fruitful = Fill(plan);
    } catch (const std::exception& error) {
      KIV_LOG(LogLevel::kFailure, L"PictureCache: decoding ahead ended: %hs", error.what());
    }
    lock.lock();
    if (!fruitful) fruitlessAfter_ = reads;
    // A reader that still waits for a frame of this plan reads it without the thread.
    if (plan.Contains(wanted_) && (plan.wanted == wanted_ || !fruitful)) wanted_ = -1;
    store_.Changed().notify_all();
  }
}

FillPlan PictureCache::NextPlanLocked() {
  if (directReads_ > 0) return {};
  if (wanted_ >= 0) return planner_.ForReader(pattern_, store_, wanted_);
  if (fruitlessAfter_ >= reads_) return {};
  return planner_.Ahead(pattern_, store_);
}

// True when something was gained.
bool PictureCache::Fill(const FillPlan& plan) {
  const std::lock_guard reading(readerLock_);
  reader_->Resume();
  // After the first picture of all nobody knows yet whether the reader turns back.
  bool confirmed = false;
  {
    const std::lock_guard guard(store_.Lock());
    confirmed = pattern_.IsConfirmed();
  }
  const ReadSpan span = confirmed ? reader_->SpanOf(plan.first, plan.last) : ReadSpan{};
  bool fruitful = false;
  for (int64_t frame = plan.first; frame <= plan.last; ++frame) {
    {
      const std::lock_guard guard(store_.Lock());
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
  std::unique_lock lock(store_.Lock());
  return PutWhenRoom(lock, plan, frame, kept);
}

// False when a picture was given up that is needed no sooner than those already there.
bool PictureCache::PutWhenRoom(std::unique_lock<std::mutex>& lock, const FillPlan& plan,
                               int64_t frame, const std::shared_ptr<const KeptPicture>& kept) {
  while (MayGoOnLocked(plan)) {
    const Yield yield = YieldFor(plan);
    if (store_.PutLocked(frame, kept, yield)) return true;
    if (yield == Yield::kLessNeeded) return false;
    store_.Changed().wait(lock);
  }
  return true;
}

bool PictureCache::MayGoOnLocked(const FillPlan& plan) const {
  if (ending_ || directReads_ > 0 || plan.generation != pattern_.Generation()) return false;
  if (wanted_ >= 0) return plan.Contains(wanted_);
  return pattern_.Frame() >= plan.first;
}

// A reader that has arrived in the plan's frames needs them more than anything else. Until then
// the plan lives on what the reader leaves behind, unless it may come back to that.
Yield PictureCache::YieldFor(const FillPlan& plan) const {
  if (pattern_.Frame() <= plan.last) return Yield::kLessNeeded;
  return pattern_.IsScrubbing() ? Yield::kNothing : Yield::kPassed;
}

}  // namespace kiv
