#include "engine/write/Writer.h"

#include <fmt/format.h>

#include <exception>
#include <utility>

#include "engine/write/WriterKinds.h"
#include "kiv/platform/PictureFacts.h"

namespace kiv {
namespace {

class DiscardingWriter : public Writer {
 public:
  WriteError Write(const uint8_t*) override { return std::nullopt; }
  WriteError Finish() override { return std::nullopt; }
};

WriteError OpenDiscardingWriter(const WriterSetup&, std::unique_ptr<Writer>* writer) {
  *writer = std::make_unique<DiscardingWriter>();
  return std::nullopt;
}

WriteError CheckSeries(const PictureSeries& series) {
  const auto& [width, height] = series.size;
  if (!IsPictureSize(width, height)) {
    return fmt::format("cannot write pictures of {}x{}", width, height);
  }
  if (series.frameRate.numerator <= 0 || series.frameRate.denominator <= 0) {
    return fmt::format("cannot write pictures at {}/{} a second", series.frameRate.numerator,
                       series.frameRate.denominator);
  }
  return std::nullopt;
}

auto OpenerOf(OutputKind kind) {
  switch (kind) {
    case OutputKind::kEncoded:
      return OpenEncodedWriter;
    case OutputKind::kPicture:
      return OpenPictureWriter;
    case OutputKind::kPictures:
      return OpenPicturesWriter;
    case OutputKind::kYuv4Mpeg:
      return OpenYuv4MpegWriter;
    case OutputKind::kRawBgra:
      return OpenRawWriter;
    case OutputKind::kDiscard:
      break;
  }
  return OpenDiscardingWriter;
}

}  // namespace

WriteError OpenWriter(const OutputPlan& plan, const PictureSeries& series,
                      const std::atomic<bool>* cancelled, std::unique_ptr<Writer>* writer) try {
  writer->reset();
  if (auto error = CheckSeries(series)) return error;
  WriterSetup setup{plan, series, cancelled};
  if (series.hasAlpha && plan.codecWithAlpha != OutputCodec::kNone) {
    setup.plan.codec = plan.codecWithAlpha;
  }
  if (series.sampleAspect.numerator <= 0 || series.sampleAspect.denominator <= 0) {
    setup.series.sampleAspect = {1, 1};
  }
  return OpenerOf(plan.kind)(setup, writer);
} catch (const std::exception& error) {
  return fmt::format("cannot write '{}': {}", plan.name, error.what());
}

}  // namespace kiv
