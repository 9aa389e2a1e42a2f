#include "engine/write/SoundCopy.h"

#include <cmath>

#include "engine/write/WriterEncoder.h"
#include "kiv/values/Saturate.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace kiv {
namespace {

// Nobody's film is longer; beyond it the arithmetic of muxers overflows.
constexpr double kLongestSeconds = 1e7;

// A container that is written nowhere.
class TrialContainer {
 public:
  explicit TrialContainer(const AVOutputFormat& format) {
    avformat_alloc_output_context2(&context_, &format, nullptr, nullptr);
    if (context_ == nullptr || avio_open_dyn_buf(&context_->pb) < 0) throw std::bad_alloc();
  }
  ~TrialContainer() {
    uint8_t* bytes = nullptr;
    avio_close_dyn_buf(context_->pb, &bytes);
    av_free(bytes);
    avformat_free_context(context_);
  }
  TrialContainer(const TrialContainer&) = delete;
  TrialContainer& operator=(const TrialContainer&) = delete;

  AVFormatContext* Get() const { return context_; }

 private:
  AVFormatContext* context_ = nullptr;
};

int AddStreamLike(const AVStream& from, AVFormatContext* container, AVStream** added) {
  AVStream* const to = avformat_new_stream(container, nullptr);
  if (to == nullptr) return AVERROR(ENOMEM);
  *added = to;
  to->time_base = from.time_base;
  to->disposition = from.disposition;
  av_dict_copy(&to->metadata, from.metadata, 0);
  const int code = avcodec_parameters_copy(to->codecpar, from.codecpar);
  to->codecpar->codec_tag = 0;  // the containers' tags differ
  return code;
}

// The muxer is asked to begin a file with it: what it says of codecs alone is not reliable, and the
// parameters may come from a damaged file.
bool Fits(const AVStream& stream, const AVOutputFormat& format) {
  if (avformat_query_codec(&format, stream.codecpar->codec_id, FF_COMPLIANCE_NORMAL) != 1) {
    return false;
  }
  const TrialContainer trial(format);
  AVStream* added = nullptr;
  return AddStreamLike(stream, trial.Get(), &added) >= 0 &&
         avformat_write_header(trial.Get(), nullptr) >= 0;
}

double PicturesStart(const MediaInput& input) {
  for (const int video : input.VideoStreams()) {
    const AVStream& stream = *input.Stream(video);
    if (stream.start_time == AV_NOPTS_VALUE) return 0;
    return static_cast<double>(stream.start_time) * av_q2d(stream.time_base);
  }
  return 0;
}

}  // namespace

SoundFit SoundThatFits(const OutputPlan& plan, const std::string& path) {
  SoundFit fit;
  std::unique_ptr<MediaInput> input;
  if (Failed(MediaInput::Open(path, &input))) return fit;
  fit.streams = input->AudioStreamCount();
  if (plan.kind != OutputKind::kEncoded) return fit;
  const AVOutputFormat* format = av_guess_format(plan.container.c_str(), nullptr, nullptr);
  if (format == nullptr) return fit;
  for (const int stream : input->AudioStreams()) {
    if (Fits(*input->Stream(stream), *format)) ++fit.fitting;
  }
  return fit;
}

std::unique_ptr<SoundCopy> SoundCopy::Open(const std::string& path, const AVOutputFormat& format) {
  std::unique_ptr<MediaInput> input;
  if (Failed(MediaInput::Open(path, &input))) return nullptr;
  std::vector<int> streams;
  std::vector<Route> routes;
  for (const int stream : input->AudioStreams()) {
    if (!Fits(*input->Stream(stream), format)) continue;
    streams.push_back(stream);
    routes.push_back({stream});
  }
  if (routes.empty()) return nullptr;
  input->Select(streams);
  return std::unique_ptr<SoundCopy>(new SoundCopy(std::move(input), std::move(routes)));
}

SoundCopy::SoundCopy(std::unique_ptr<MediaInput> input, std::vector<Route> routes)
    : input_(std::move(input)),
      routes_(std::move(routes)),
      zero_(PicturesStart(*input_)),
      waiting_(NewPacket()) {}

WriteError SoundCopy::AddStreams(AVFormatContext* container) {
  earlyAllowed_ = (container->oformat->flags & AVFMT_TS_NEGATIVE) != 0;
  for (Route& route : routes_) {
    const int code = AddStreamLike(*input_->Stream(route.from), container, &route.to);
    if (code < 0) return AvErrorText(code);
  }
  return std::nullopt;
}

WriteError SoundCopy::CopyUntil(double seconds, const Sink& sink) {
  while (ReadNext()) {
    Route* const route = RouteOf(*waiting_);
    if (StartOf(*waiting_) > seconds) return std::nullopt;
    isWaiting_ = false;
    if (!Retime(route, waiting_.get())) continue;
    if (auto error = sink(*waiting_)) return error;
  }
  return std::nullopt;
}

SoundCopy::Route* SoundCopy::RouteOf(const AVPacket& packet) {
  for (Route& route : routes_) {
    if (route.from == packet.stream_index) return &route;
  }
  return nullptr;
}

bool SoundCopy::ReadNext() {
  while (!isWaiting_) {
    if (!input_->ReadAny(waiting_.get())) return false;
    isWaiting_ = RouteOf(*waiting_) != nullptr && std::isfinite(StartOf(*waiting_));
  }
  return true;
}

double SoundCopy::StartOf(const AVPacket& packet) const {
  const int64_t stamp = packet.dts != AV_NOPTS_VALUE ? packet.dts : packet.pts;
  if (stamp == AV_NOPTS_VALUE) return NAN;
  const double start =
      static_cast<double>(stamp) * av_q2d(input_->Stream(packet.stream_index)->time_base) - zero_;
  return std::abs(start) < kLongestSeconds ? start : NAN;
}

bool SoundCopy::Retime(Route* route, AVPacket* packet) const {
  const AVRational from = input_->Stream(route->from)->time_base;
  const AVRational to = route->to->time_base;
  if (packet->dts == AV_NOPTS_VALUE) packet->dts = packet->pts;
  if (packet->pts == AV_NOPTS_VALUE || packet->pts < packet->dts) packet->pts = packet->dts;
  const int64_t zero = SaturateToInt64(std::round(zero_ / av_q2d(to)));
  const int64_t delay = av_rescale_q(packet->pts - packet->dts, from, to);
  packet->dts = av_rescale_q(packet->dts, from, to) - zero;
  packet->pts = packet->dts + delay;
  packet->duration = av_rescale_q(std::max<int64_t>(packet->duration, 0), from, to);
  packet->pos = -1;
  packet->stream_index = route->to->index;
  if (packet->dts < 0 && !earlyAllowed_) return false;
  if (route->lastDts != AV_NOPTS_VALUE && packet->dts <= route->lastDts) return false;
  route->lastDts = packet->dts;
  return true;
}

}  // namespace kiv
