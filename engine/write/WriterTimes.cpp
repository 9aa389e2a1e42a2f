#include "engine/write/WriterTimes.h"

#include <algorithm>

#include "kiv/base/FrameTime.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace kiv {
namespace {

constexpr AVRational kTimesUnit{1, static_cast<int>(kTicksPerSecond)};
constexpr AVRational kOwnTimeBase{1, 90'000};

AVRational StepOf(const PictureSeries& series) {
  return {static_cast<int>(series.frameRate.denominator),
          static_cast<int>(series.frameRate.numerator)};
}

}  // namespace

AVRational WriterTimes::TimeBase() const {
  return series_.times.empty() ? StepOf(series_) : kOwnTimeBase;
}

int64_t WriterTimes::TicksAt(int64_t number) const {
  const auto last = static_cast<int64_t>(series_.times.size()) - 1;
  const int64_t known = std::clamp<int64_t>(number, 0, last);
  const int64_t time = series_.times[static_cast<size_t>(known)];
  return av_rescale_q(time, kTimesUnit, kOwnTimeBase) +
         av_rescale_q(number - known, StepOf(series_), kOwnTimeBase);
}

void WriterTimes::Stamp(AVPacket* packet, AVRational units) const {
  if (series_.times.empty()) {
    packet->duration = 1;
  } else {
    // Decoding is never later than showing, in numbers and so in times.
    const int64_t number = packet->pts;
    packet->pts = TicksAt(number);
    packet->dts = TicksAt(packet->dts);
    packet->duration = TicksAt(number + 1) - packet->pts;
  }
  av_packet_rescale_ts(packet, TimeBase(), units);
}

}  // namespace kiv
