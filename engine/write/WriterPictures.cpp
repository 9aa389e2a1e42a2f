// PNG and JPEG pictures: one, or a numbered sequence.

#include <fmt/format.h>
#include <libyuv/convert_from_argb.h>
#include <libyuv/planar_functions.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "engine/write/WriterAlpha.h"
#include "engine/write/WriterCodecs.h"
#include "engine/write/WriterEncoder.h"
#include "engine/write/WriterFile.h"
#include "engine/write/WriterKinds.h"
#include "kiv/platform/PictureFacts.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace kiv {
namespace {

// JPEG has no alpha: what is transparent becomes black.
void FillJpeg(const uint8_t* bgra, KivSize size, std::vector<uint8_t>* opaque, AVFrame* frame) {
  const int stride = size.width * kBytesPerPixel;
  opaque->resize(PictureBytesOf(size));
  libyuv::ARGBAttenuate(bgra, stride, opaque->data(), stride, size.width, size.height);
  libyuv::ARGBToJ420(opaque->data(), stride, frame->data[0], frame->linesize[0], frame->data[1],
                     frame->linesize[1], frame->data[2], frame->linesize[2], size.width,
                     size.height);
}

// Several pictures at a time when `threads` is not 1 (0: one a core).
class PictureEncoder {
 public:
  WriteError Open(const WriterSetup& setup, int threads) {
    const PictureSeries& series = setup.series;
    const OutputCodec id = setup.plan.codec;
    const WriterCodec& codec = *FindWriterCodec(id == OutputCodec::kNone ? OutputCodec::kPng : id);
    size_ = series.size;
    const AVPixelFormat format = codec.PixelFormat(setup.plan, series);
    if (auto error = encoder_.Prepare(codec.encoder, size_, format, series)) return error;
    codec.SetOptions(encoder_.Context(), setup.plan.quality);
    encoder_.Context()->thread_count = threads;
    encoder_.Context()->thread_type = FF_THREAD_FRAME;
    return encoder_.Open();
  }

  WriteError Encode(const uint8_t* bgra, int64_t number, const WriterEncoder::PacketSink& sink) {
    AVFrame* frame = encoder_.WritableFrame();
    if (frame == nullptr) return std::string("no memory for a picture");
    if (frame->format == AV_PIX_FMT_RGBA) {
      FillRgba(bgra, size_, frame);
    } else {
      FillJpeg(bgra, size_, &opaque_, frame);
    }
    return encoder_.Encode(number, sink);
  }

  WriteError Drain(const WriterEncoder::PacketSink& sink) { return encoder_.Drain(sink); }

 private:
  WriterEncoder encoder_;
  KivSize size_;
  std::vector<uint8_t> opaque_;
};

// Holds the first picture only: planning made sure that there is one.
class PictureWriter : public Writer {
 public:
  explicit PictureWriter(const WriterSetup& setup)
      : name_(setup.plan.name), file_(setup.cancelled) {}

  WriteError Open(const WriterSetup& setup) {
    if (auto error = encoder_.Open(setup, 1)) return error;
    return file_.Open(name_);
  }

  WriteError Write(const uint8_t* bgra) override {
    if (written_) return fmt::format("cannot write '{}': it holds one picture", name_);
    written_ = true;
    return encoder_.Encode(bgra, 0, Sink());
  }

  WriteError Finish() override {
    if (auto error = encoder_.Drain(Sink())) return error;
    return file_.Commit();
  }

 private:
  WriterEncoder::PacketSink Sink() {
    return [this](AVPacket& packet) {
      return file_.Write(packet.data, static_cast<size_t>(packet.size));
    };
  }

  std::string name_;
  WriterFile file_;
  PictureEncoder encoder_;
  bool written_ = false;
};

// The pictures are collected in a hidden directory beside their final place and moved there
// together.
class PicturesWriter : public Writer {
 public:
  explicit PicturesWriter(const WriterSetup& setup) : setup_(setup) {}
  ~PicturesWriter() override;
  PicturesWriter(const PicturesWriter&) = delete;
  PicturesWriter& operator=(const PicturesWriter&) = delete;

  WriteError Open();
  WriteError Write(const uint8_t* bgra) override {
    return encoder_.Encode(bgra, pictures_++, Sink());
  }
  WriteError Finish() override;

 private:
  WriterEncoder::PacketSink Sink() {
    return [this](AVPacket& packet) { return WriteFile(packet); };
  }
  std::string FinalName(int64_t picture) const;
  std::string HiddenName(int64_t picture) const { return fmt::format("{}/{}", hidden_, picture); }
  std::string OldName(int64_t picture) const { return HiddenName(picture) + ".old"; }
  WriteError WriteFile(const AVPacket& packet);
  WriteError MoveAll();

  WriterSetup setup_;
  PictureEncoder encoder_;
  std::string hidden_;
  int64_t pictures_ = 0;
};

PicturesWriter::~PicturesWriter() {
  std::error_code ignored;
  if (!hidden_.empty()) std::filesystem::remove_all(hidden_, ignored);
}

std::string PicturesWriter::FinalName(int64_t picture) const {
  return PictureName(setup_.plan.name, static_cast<int32_t>(setup_.series.firstNumber + picture));
}

WriteError PicturesWriter::Open() {
  if (auto error = encoder_.Open(setup_, 0)) return error;
  const auto folder = std::filesystem::path(FinalName(0)).parent_path();
  std::string name = (folder / ".kivclip-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) return CannotWrite(setup_.plan.name, errno);
  hidden_ = name;
  return std::nullopt;
}

WriteError PicturesWriter::WriteFile(const AVPacket& packet) {
  WriterFile file(setup_.cancelled);
  auto error = file.Open(HiddenName(packet.pts));
  if (!error) error = file.Write(packet.data, static_cast<size_t>(packet.size));
  if (!error) error = file.Commit(Durability::kFast);
  if (!error) return std::nullopt;
  // The hidden name means nothing to the user; the reason after it does.
  const size_t reason = error->rfind("': ");
  return fmt::format("cannot write '{}{}", FinalName(packet.pts), error->substr(reason));
}

WriteError PicturesWriter::Finish() {
  if (auto error = encoder_.Drain(Sink())) return error;
  return MoveAll();
}

// All or none: what stood under a name before is set aside, and back after a failure.
WriteError PicturesWriter::MoveAll() {
  for (int64_t i = 0; i < pictures_; ++i) {
    const std::string name = FinalName(i);
    std::error_code ignored;
    if (!std::filesystem::is_directory(name, ignored))
      std::rename(name.c_str(), OldName(i).c_str());
    if (std::rename(HiddenName(i).c_str(), name.c_str()) == 0) continue;
    auto error = CannotWrite(name, errno);
    for (int64_t moved = 0; moved < i; ++moved) unlink(FinalName(moved).c_str());
    for (int64_t old = 0; old <= i; ++old) {
      std::rename(OldName(old).c_str(), FinalName(old).c_str());
    }
    return error;
  }
  return std::nullopt;
}

}  // namespace

WriteError OpenPictureWriter(const WriterSetup& setup, std::unique_ptr<Writer>* writer) {
  auto picture = std::make_unique<PictureWriter>(setup);
  if (auto error = picture->Open(setup)) return error;
  *writer = std::move(picture);
  return std::nullopt;
}

WriteError OpenPicturesWriter(const WriterSetup& setup, std::unique_ptr<Writer>* writer) {
  auto pictures = std::make_unique<PicturesWriter>(setup);
  if (auto error = pictures->Open()) return error;
  *writer = std::move(pictures);
  return std::nullopt;
}

}  // namespace kiv
