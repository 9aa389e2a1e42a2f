// YUV4MPEG2 and raw BGRA.

#include <fmt/format.h>

#include "engine/write/WriterConvert.h"
#include "engine/write/WriterFile.h"
#include "engine/write/WriterKinds.h"
#include "kiv/platform/PictureFacts.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace kiv {
namespace {

constexpr char kFrameMark[] = "FRAME\n";

class RawWriter : public Writer {
 public:
  explicit RawWriter(const WriterSetup& setup)
      : file_(setup.cancelled), byteCount_(PictureBytesOf(setup.series.size)) {}

  WriteError Open(const std::string& name) { return file_.Open(name); }
  WriteError Write(const uint8_t* bgra) override { return file_.Write(bgra, byteCount_); }
  WriteError Finish() override { return file_.Commit(); }

 private:
  WriterFile file_;
  size_t byteCount_;
};

// 4:2:0 with the chroma of MPEG-2 (left columns), or 4:4:4. Odd sizes stay as they are: their
// chroma planes are rounded up. The matrix is that of OutputMatrix; the format has no tag for it.
class Yuv4MpegWriter : public Writer {
 public:
  explicit Yuv4MpegWriter(const WriterSetup& setup)
      : setup_(setup), file_(setup.cancelled), planes_(av_frame_alloc()) {}
  ~Yuv4MpegWriter() override { av_frame_free(&planes_); }
  Yuv4MpegWriter(const Yuv4MpegWriter&) = delete;
  Yuv4MpegWriter& operator=(const Yuv4MpegWriter&) = delete;

  WriteError Open();
  WriteError Write(const uint8_t* bgra) override;
  WriteError Finish() override { return file_.Commit(); }

 private:
  bool IsHalved() const { return setup_.plan.chroma == ChromaSampling::k420; }
  std::string Header() const;
  WriteError AllocatePlanes();
  void PackPlane(int index, KivSize size);

  WriterSetup setup_;
  WriterFile file_;
  WriterConvert converter_;
  AVFrame* planes_;
  std::string packed_;  // one frame as it goes into the file
};

std::string Yuv4MpegWriter::Header() const {
  const PictureSeries& series = setup_.series;
  return fmt::format("YUV4MPEG2 W{} H{} F{}:{} Ip A{}:{} {} XCOLORRANGE=LIMITED\n",
                     series.size.width, series.size.height, series.frameRate.numerator,
                     series.frameRate.denominator, series.sampleAspect.numerator,
                     series.sampleAspect.denominator,
                     IsHalved() ? "C420mpeg2 XYSCSS=420MPEG2" : "C444 XYSCSS=444");
}

WriteError Yuv4MpegWriter::AllocatePlanes() {
  if (planes_ != nullptr && Succeeded(converter_.Open(setup_.series.size, setup_.plan.chroma))) {
    planes_->width = converter_.PaddedSize().width;
    planes_->height = converter_.PaddedSize().height;
    planes_->format = IsHalved() ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUV444P;
    if (av_frame_get_buffer(planes_, 0) == 0) return std::nullopt;
  }
  return fmt::format("cannot write '{}': no memory for a picture", setup_.plan.name);
}

WriteError Yuv4MpegWriter::Open() {
  if (auto error = AllocatePlanes()) return error;
  if (auto error = file_.Open(setup_.plan.name)) return error;
  const std::string header = Header();
  return file_.Write(header.data(), header.size());
}

void Yuv4MpegWriter::PackPlane(int index, KivSize size) {
  const uint8_t* row = planes_->data[index];
  for (int y = 0; y < size.height; ++y, row += planes_->linesize[index]) {
    packed_.append(reinterpret_cast<const char*>(row), static_cast<size_t>(size.width));
  }
}

WriteError Yuv4MpegWriter::Write(const uint8_t* bgra) {
  converter_.Convert(bgra, planes_);
  const KivSize luma = setup_.series.size;
  const KivSize chroma = IsHalved() ? KivSize{(luma.width + 1) / 2, (luma.height + 1) / 2} : luma;
  packed_.assign(kFrameMark);
  PackPlane(0, luma);
  PackPlane(1, chroma);
  PackPlane(2, chroma);
  return file_.Write(packed_.data(), packed_.size());
}

}  // namespace

WriteError OpenRawWriter(const WriterSetup& setup, std::unique_ptr<Writer>* writer) {
  auto raw = std::make_unique<RawWriter>(setup);
  if (auto error = raw->Open(setup.plan.name)) return error;
  *writer = std::move(raw);
  return std::nullopt;
}

WriteError OpenYuv4MpegWriter(const WriterSetup& setup, std::unique_ptr<Writer>* writer) {
  auto yuv = std::make_unique<Yuv4MpegWriter>(setup);
  if (auto error = yuv->Open()) return error;
  *writer = std::move(yuv);
  return std::nullopt;
}

}  // namespace kiv
