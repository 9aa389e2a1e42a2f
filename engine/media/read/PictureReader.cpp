#include "engine/media/read/PictureReader.h"

#include <algorithm>
#include <thread>

#include "engine/media/read/PictureBuffers.h"
#include "kiv/platform/Logger.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace kiv {
namespace {

// How often an undecodable frame is tried from an earlier key packet.
constexpr int kEarlierKeys = 3;
constexpr int32_t kNearStart = 16;
// The beginning of the stream is the last resort for frames up to here.
constexpr int32_t kNearBeginning = 3000;
// A stream that failed to give anything this often is not tried again.
constexpr int kMostFailures = 3;
// Errors in a row without a picture, an end or a wish for more: a decoder that got stuck.
constexpr int kMostErrors = 10000;
constexpr int64_t kMostThreads = 9;
constexpr int64_t kPixelsInThreads = int64_t{128} << 20;
// Packets tried at the beginning of a stream that was cut out of a longer one.
constexpr int kStartPackets = 400;
constexpr int kRowAlignment = 64;
constexpr int kPacketsBeforeDrain = 4;

// Two more than there are processors: the caller converts a picture while the threads decode, and a
// thread that waits for its neighbour's rows leaves no processor idle. Every thread holds a picture,
// so there are fewer for very large ones.
int ThreadsFor(const DecoderSettings& settings, const AVCodecParameters& parameters) {
  const int64_t pixels = std::max(int64_t{1}, int64_t{parameters.width} * parameters.height);
  const int most =
      static_cast<int>(std::clamp(kPixelsInThreads / pixels, int64_t{1}, kMostThreads));
  if (settings.threads > 0) return std::min(settings.threads, most);
  const int processors = static_cast<int>(std::thread::hardware_concurrency());
  return std::clamp(processors + 2, 1, most);
}

const AVCodec* FindDecoder(AVCodecID codec, const std::string& name) {
  const AVCodec* named = name.empty() ? nullptr : avcodec_find_decoder_by_name(name.c_str());
  return named ? named : avcodec_find_decoder(codec);
}

// Another one for each decoder, by which the log tells their streams apart. Points to nothing.
void* NextStreamMark() {
  static std::atomic<uintptr_t> last = 0;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a number in a pointer's clothes
  return reinterpret_cast<void*>(++last);
}

int64_t BytesOf(const AVCodecParameters& parameters) {
  const auto format = static_cast<AVPixelFormat>(parameters.format);
  const int bytes =
      av_image_get_buffer_size(format, parameters.width, parameters.height, kRowAlignment);
  return bytes > 0 ? bytes : int64_t{4} * parameters.width * parameters.height;
}

}  // namespace

PictureReader::PictureReader(std::unique_ptr<PacketFeed> feed, std::shared_ptr<FrameIndex> index)
    : feed_(std::move(feed)),
      index_(std::move(index)),
      incoming_(NewFrame()),
      shown_(NewFrame()),
      next_(NewFrame()) {}

HRESULT PictureReader::OpenDecoder(const AVCodecParameters& parameters, AVRational timeBase,
                                   const DecoderSettings& settings) {
  const AVCodec* codec = FindDecoder(parameters.codec_id, settings.name);
  if (!codec) return E_UNSUPPORTED;
  expectedBytes_ = BytesOf(parameters);
  const int threads = ThreadsFor(settings, parameters);
  const HRESULT hr = OpenWith(*codec, parameters, timeBase, threads);
  // The system may refuse threads: a limit for its user, or no memory for their stacks.
  if (Succeeded(hr) || threads == 1) return hr;
  return OpenWith(*codec, parameters, timeBase, 1);
}

HRESULT PictureReader::OpenWith(const AVCodec& codec, const AVCodecParameters& parameters,
                                AVRational timeBase, int threads) {
  decoder_ = HoldAv(avcodec_alloc_context3(&codec));
  if (avcodec_parameters_to_context(decoder_.get(), &parameters) < 0) return E_UNSUPPORTED;
  decoder_->pkt_timebase = timeBase;
  decoder_->thread_count = threads;
  decoder_->max_pixels = kMaxPicturePixels;
  decoder_->opaque = NextStreamMark();
  // Or columns that the stream cuts off on the left would stay where no vector begins after them.
  decoder_->flags |= AV_CODEC_FLAG_UNALIGNED;
  UseSlabsForPictures(decoder_.get());
  return avcodec_open2(decoder_.get(), &codec, nullptr) < 0 ? E_UNSUPPORTED : S_OK;
}

HRESULT PictureReader::At(int64_t frame, const AVFrame** picture) {
  return At(frame, ReadSpan{}, picture);
}

ReadSpan PictureReader::SpanOf(int64_t first, int64_t last) {
  if (index_->IsSequential()) return {};
  ReadSpan span{last, 0};
  for (int64_t frame = first; frame <= last; ++frame) {
    span.lastPacket = std::max(span.lastPacket, index_->RouteTo(frame).target);
  }
  return span;
}

HRESULT PictureReader::At(int64_t frame, const ReadSpan& span, const AVFrame** picture) {
  *picture = nullptr;
  span_ = span;
  if (!decoder_ || hopeless_) return E_FAIL;
  if (nextFrame_ >= 0 && frame >= nextFrame_) TakeOutput(frame);
  bool reached = Holds(frame) || Reach(frame);
  if (!reached && drainedEarly_) {
    // A damaged frame, or a decoder that keeps pictures back when it is drained after a few packets.
    span_ = {};
    reached = Reach(frame);
  }
  if (!reached) {
    if (stopped_) return E_ABORT;
    if (const HRESULT hr = Substitute(frame); Failed(hr)) return hr;
  }
  if (shownFrame_ != frame) {
    ++replaced_;
    Report(frame);
  }
  *picture = shown_.get();
  return S_OK;
}

bool PictureReader::Reach(int64_t frame) {
  const FrameRoute route = index_->RouteTo(frame);
  int32_t from = index_->StartFor(route.key);
  bool reached = CanRunOnTo(route, frame) ? RunTo(frame) : StartAt(from) && RunTo(frame);
  if (reached && !IsLostNearStart(route, frame)) return true;
  for (int i = 0; startedAt_ > 0 && i < kEarlierKeys && MayTryAgain(); ++i) {
    from = index_->KeyBefore(from);
    reached = StartAt(from) && RunTo(frame);
    if (reached && !IsLostNearStart(route, frame)) return true;
  }
  if (startedAt_ > 0 && route.target <= kNearBeginning && MayTryAgain()) {
    reached = StartAt(0) && RunTo(frame);
  }
  return reached;
}

// H.264 that refers to pictures before its start may lose one of the first after it: from further
// back it comes out.
bool PictureReader::IsLostNearStart(const FrameRoute& route, int64_t frame) const {
  return shownFrame_ < frame && route.target - startedAt_ <= kNearStart;
}

// From further back there is no more to be had of a decoder that was drained on purpose.
bool PictureReader::MayTryAgain() const { return !stopped_ && !drainedEarly_; }

bool PictureReader::Holds(int64_t frame) const {
  if (shownFrame_ < 0 || frame < shownFrom_) return false;
  return frame <= shownFrame_ || drained_ || (nextFrame_ >= 0 && frame < nextFrame_);
}

bool PictureReader::CanRunOnTo(const FrameRoute& route, int64_t frame) const {
  if (!running_ || frame <= shownFrame_) return false;
  if (frame < passedOverTo_ || (!feeding_ && frame > drainingTo_)) return false;
  if (nextFrame_ >= 0 && frame < nextFrame_) return false;
  return route.key <= feed_->Position();
}

// Some of what a decoder needs is in the stream's first packet only, as the encoder's version
// does whose mistakes the decoder repeats. It outlives a flush. Damage in that packet is no matter:
// playing from the start meets it too.
void PictureReader::Prime(int32_t start) {
  if (primed_) return;
  primed_ = true;
  if (start == 0 || !feed_->MoveTo(0)) return;
  AVPacket* const first = feed_->Next();
  if (!first) return;
  first->pts = first->dts = 0;
  if (avcodec_send_packet(decoder_.get(), first) == AVERROR(ENOMEM)) throw std::bad_alloc();
}

bool PictureReader::StartAt(int32_t packet) {
  Prime(packet);
  avcodec_flush_buffers(decoder_.get());
  av_frame_unref(next_.get());
  av_frame_unref(shown_.get());
  shownFrom_ = shownFrame_ = nextFrame_ = -1;
  outputs_ = 0;
  startedAt_ = packet;
  running_ = feeding_ = feed_->MoveTo(packet);
  seeks_ = feed_->SeekCount();
  drained_ = drainedEarly_ = false;
  drainingTo_ = passedOverTo_ = -1;
  return running_;
}

// The picture that was held back is the one asked for, or one before it.
bool PictureReader::TakeOutput(int64_t frame) {
  if (nextFrame_ > frame) return false;
  std::swap(shown_, next_);
  av_frame_unref(next_.get());
  shownFrom_ = shownFrame_ = nextFrame_;
  nextFrame_ = -1;
  return true;
}

// True when the frame, or one before it that stands for it, is shown now.
bool PictureReader::RunTo(int64_t frame) {
  while (!Holds(frame)) {
    if (stopped_) return false;
    if (ReceivePicture(frame) == Outcome::kEnd) {
      running_ = false;
      drainedEarly_ = !feeding_ && drainingTo_ != INT64_MAX;
      drained_ = !drainedEarly_;
      if (index_->IsSequential()) index_->LimitFrames(outputs_);
      return Holds(frame);
    }
    const int64_t number = NumberOf(*incoming_);
    if (number < 0 || number <= shownFrame_) continue;
    std::swap(next_, incoming_);
    nextFrame_ = number;
    if (!TakeOutput(frame)) return Holds(frame);
  }
  return true;
}

PictureReader::Outcome PictureReader::ReceivePicture(int64_t wanted) {
  for (int errors = 0; errors < kMostErrors; ++errors) {
    const int error = avcodec_receive_frame(decoder_.get(), incoming_.get());
    if (error >= 0) return Outcome::kPicture;
    if (error == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (error == AVERROR_EOF) return Outcome::kEnd;
    // Any other error concerns one damaged picture: the next ones may be sound.
    if (error != AVERROR(EAGAIN)) continue;
    SendNext(wanted);
    errors = 0;
  }
  return Outcome::kEnd;
}

void PictureReader::SendNext(int64_t wanted) {
  const int32_t number = feed_->Position();
  const bool inSpan = number <= span_.lastPacket || !MayDrainEarly(number);
  AVPacket* packet = feeding_ && inSpan ? feed_->Next() : nullptr;
  if (!packet) {
    if (feeding_) drainingTo_ = inSpan ? INT64_MAX : span_.lastFrame;
    feeding_ = false;
    avcodec_send_packet(decoder_.get(), nullptr);
    return;
  }
  if (number == startedAt_) index_->Equip(number, packet);
  packet->pts = packet->dts = number;
  const bool passedOver = IsPassedOver(number, wanted);
  decoder_->skip_frame = passedOver ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
  ++decoded_;
  if (passedOver) {
    ++passedOver_;
    passedOverTo_ = std::max(passedOverTo_, wanted);
  }
  if (avcodec_send_packet(decoder_.get(), packet) == AVERROR(ENOMEM)) throw std::bad_alloc();
}

// FFmpeg's frame threads have been seen to lose pictures when they are drained a few packets after
// their start.
bool PictureReader::MayDrainEarly(int32_t packet) const {
  const int threads = decoder_->thread_count;
  return threads == 1 || packet - startedAt_ >= kPacketsBeforeDrain * threads;
}

// What is passed over and serves no other picture need not be decoded at all.
bool PictureReader::IsPassedOver(int32_t packet, int64_t wanted) {
  if (index_->IsSequential()) return false;
  const int32_t frame = index_->FrameOf(packet);
  return frame >= 0 && frame < wanted;
}

int64_t PictureReader::NumberOf(const AVFrame& picture) {
  if (index_->IsSequential()) return outputs_++;
  if (picture.pts < 0 || picture.pts >= feed_->Position()) return -1;
  return index_->FrameOf(static_cast<int32_t>(picture.pts));
}

// Nothing at or before the frame came out, from whichever key packet. The first one after it stands
// for all up to it, so that reading on through a damaged stretch does not try each frame anew.
HRESULT PictureReader::Substitute(int64_t frame) {
  if (nextFrame_ < 0) {
    Report(frame);
    hopeless_ = startedAt_ == 0 || ++failures_ >= kMostFailures;
    return E_FAIL;
  }
  const int64_t number = nextFrame_;
  TakeOutput(number);
  shownFrom_ = frame;
  return S_OK;
}

// Once for a stream: a damaged one would fill the log.
void PictureReader::Report(int64_t frame) {
  if (reported_) return;
  reported_ = true;
  KIV_LOG(LogLevel::kFailure, L"PictureReader: frame %lld cannot be decoded",
          static_cast<long long>(frame));
}

int32_t PictureReader::FirstDecodable() {
  if (!decoder_ || !StartAt(0)) return -1;
  for (int i = 0; i < kStartPackets;) {
    const int error = avcodec_receive_frame(decoder_.get(), incoming_.get());
    if (error >= 0) {
      running_ = false;
      return static_cast<int32_t>(incoming_->pts);
    }
    if (error == AVERROR_EOF) break;
    if (error != AVERROR(EAGAIN)) continue;
    SendNext(-1);
    ++i;
  }
  running_ = false;
  return -1;
}

}  // namespace kiv
