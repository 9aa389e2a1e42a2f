#include "engine/media/ImageFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "engine/base/Boundary.h"
#include "engine/logger/Logger.h"
#include "engine/media/colour/PictureConverter.h"
#include "engine/media/read/AvPointers.h"
#include "engine/picture/Frame.h"
#include "engine/registry/PathService.h"
#include "kiv/platform/KivCommon.h"

namespace kiv {
namespace {

constexpr int kIoBufferBytes = 32 * 1024;

struct CloseFormat {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};

// A local file as FFmpeg reads it. It is opened here so that nothing but a regular file is, and so
// that no name can be taken for a protocol or a number pattern.
class LocalFile {
 public:
  ~LocalFile() {
    if (io_) {
      av_freep(&io_->buffer);
      avio_context_free(&io_);
    }
    if (file_ >= 0) close(file_);
  }

  HRESULT Open(const std::string& path) {
    // A named pipe must not hold us up.
    file_ = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file_ < 0) return errno == ENOENT || errno == ENOTDIR ? E_NOTFOUND : E_UNSUPPORTED;
    struct stat status;
    if (fstat(file_, &status) != 0 || !S_ISREG(status.st_mode)) return E_UNSUPPORTED;
    if (status.st_size < 1 || status.st_size > kMaxImageFileBytes) return E_UNSUPPORTED;
    size_ = status.st_size;
    auto* const buffer = static_cast<uint8_t*>(av_malloc(kIoBufferBytes));
    if (!buffer) return E_OUTOFMEMORY;
    io_ = avio_alloc_context(buffer, kIoBufferBytes, 0, this, &Read, nullptr, &Seek);
    if (!io_) av_free(buffer);
    return io_ ? S_OK : E_OUTOFMEMORY;
  }

  AVIOContext* Io() const { return io_; }

 private:
  static int Read(void* opaque, uint8_t* buffer, int size) {
    const auto* const self = static_cast<LocalFile*>(opaque);
    const ssize_t count = read(self->file_, buffer, static_cast<size_t>(size));
    if (count < 0) return AVERROR(errno);
    return count == 0 ? AVERROR_EOF : static_cast<int>(count);
  }
  static int64_t Seek(void* opaque, int64_t offset, int whence) {
    const auto* const self = static_cast<LocalFile*>(opaque);
    if (whence & AVSEEK_SIZE) return self->size_;
    const off_t place = lseek(self->file_, offset, whence & ~AVSEEK_FORCE);
    return place < 0 ? AVERROR(errno) : place;
  }

  int file_ = -1;
  int64_t size_ = 0;
  AVIOContext* io_ = nullptr;
};

int RefuseFurtherFiles(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
  return AVERROR(EPERM);
}

// Formats that are one picture told by its content, and the few animated ones that start with one.
const std::string& ImageFormats() {
  static const std::string names = [] {
    std::string all = "gif,apng,ico,image2pipe";
    void* state = nullptr;
    while (const AVInputFormat* const format = av_demuxer_iterate(&state)) {
      const std::string_view name = format->name;
      if (name.ends_with("_pipe")) all.append(",").append(name);
    }
    return all;
  }();
  return names;
}

bool HasTargaName(const std::string& path) {
  constexpr size_t kLength = 4;
  return path.size() >= kLength && strcasecmp(path.c_str() + path.size() - kLength, ".tga") == 0;
}

class ImageReader {
 public:
  HRESULT Open(const std::string& path) {
    if (const HRESULT hr = file_.Open(path); Failed(hr)) return hr;
    if (const HRESULT hr = OpenFormat(path); Failed(hr)) return hr;
    return OpenCodec(LargestStream());
  }

  HRESULT ReadFirst() {
    for (bool atEnd = false;;) {
      const int received = avcodec_receive_frame(codec_.get(), picture_.get());
      if (received == 0) return S_OK;
      if (received != AVERROR(EAGAIN) || atEnd) return E_UNSUPPORTED;
      atEnd = !ReadPacket();
      const int sent = avcodec_send_packet(codec_.get(), atEnd ? nullptr : packet_.get());
      av_packet_unref(packet_.get());
      if (sent < 0 && sent != AVERROR(EAGAIN)) return E_UNSUPPORTED;
    }
  }

  HRESULT Convert(const PictureRoom& room) const {
    const Orientation orientation = OrientationOf(*picture_);
    KivSize size{picture_->width, picture_->height};
    if (!IsPictureSize(size.width, size.height)) return E_UNSUPPORTED;
    if (int64_t{size.width} * size.height > kMaxImagePixels) return E_UNSUPPORTED;
    if (orientation.rotation % 180 != 0) std::swap(size.width, size.height);
    uint8_t* const pixels = room(size);
    if (!pixels) return E_OUTOFMEMORY;
    return PictureConverter().Convert(*picture_, orientation, size, pixels);
  }

 private:
  HRESULT OpenFormat(const std::string& path) {
    AVFormatContext* context = avformat_alloc_context();
    if (!context) return E_OUTOFMEMORY;
    context->pb = file_.Io();
    // Without a parser the whole file is one packet, whatever sizes its header announces.
    context->flags |= AVFMT_FLAG_CUSTOM_IO | AVFMT_FLAG_NOPARSE | AVFMT_FLAG_NOFILLIN;
    context->io_open = &RefuseFurtherFiles;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "format_whitelist", ImageFormats().c_str(), 0);
    const AVInputFormat* format = nullptr;
    if (HasTargaName(path)) {  // has nothing to be told by but its name
      format = av_find_input_format("image2pipe");
      context->video_codec_id = AV_CODEC_ID_TARGA;
    }
    const int opened = avformat_open_input(&context, nullptr, format, &options);
    av_dict_free(&options);
    format_.reset(opened < 0 ? nullptr : context);
    return opened < 0 ? (opened == AVERROR(ENOMEM) ? E_OUTOFMEMORY : E_UNSUPPORTED) : S_OK;
  }

  // Icons hold one picture in several sizes; 0 stands for the largest, 256.
  const AVStream* LargestStream() const {
    constexpr int kLargestIcon = 256;
    const auto side = [](int value) { return int64_t{value > 0 ? value : kLargestIcon}; };
    const AVStream* best = nullptr;
    int64_t bestArea = 0;
    for (unsigned i = 0; i < format_->nb_streams; ++i) {
      const AVCodecParameters& codec = *format_->streams[i]->codecpar;
      const int64_t area = side(codec.width) * side(codec.height);
      if (codec.codec_type != AVMEDIA_TYPE_VIDEO || area <= bestArea) continue;
      best = format_->streams[i];
      bestArea = area;
    }
    return best;
  }

  HRESULT OpenCodec(const AVStream* stream) {
    const AVCodec* const codec =
        stream ? avcodec_find_decoder(stream->codecpar->codec_id) : nullptr;
    if (!codec) return E_UNSUPPORTED;
    stream_ = stream->index;
    codec_ = HoldAv(avcodec_alloc_context3(codec));
    if (avcodec_parameters_to_context(codec_.get(), stream->codecpar) < 0) return E_UNSUPPORTED;
    codec_->max_pixels = kMaxImagePixels;
    codec_->thread_count = 1;
    return avcodec_open2(codec_.get(), codec, nullptr) < 0 ? E_UNSUPPORTED : S_OK;
  }

  bool ReadPacket() {
    while (av_read_frame(format_.get(), packet_.get()) >= 0) {
      if (packet_->stream_index == stream_) return true;
      av_packet_unref(packet_.get());
    }
    return false;
  }

  // How the camera was held, as its Exif tag numbers it.
  static Orientation OrientationOf(const AVFrame& picture) {
    static constexpr Orientation kByTag[] = {{0, false},   {0, false},  {0, true},
                                             {180, false}, {180, true}, {270, true},
                                             {90, false},  {90, true},  {270, false}};
    const AVDictionaryEntry* const entry = av_dict_get(picture.metadata, "Orientation", nullptr, 0);
    const long tag = entry ? std::strtol(entry->value, nullptr, 10) : 0;
    return tag > 0 && tag < static_cast<long>(std::size(kByTag)) ? kByTag[tag] : Orientation{};
  }

  LocalFile file_;  // outlives the format that reads it
  std::unique_ptr<AVFormatContext, CloseFormat> format_;
  AvPtr<AVCodecContext> codec_;
  AvPtr<AVFrame> picture_ = NewFrame();
  AvPtr<AVPacket> packet_ = NewPacket();
  int stream_ = 0;
};

}  // namespace

HRESULT ReadImageFile(const std::wstring& path, const PictureRoom& room) {
  RouteFfmpegLog();
  return AtBoundary([&] {
    ImageReader reader;
    if (const HRESULT hr = reader.Open(KivCommon::WChar2Char(path.c_str())); Failed(hr)) return hr;
    if (const HRESULT hr = reader.ReadFirst(); Failed(hr)) return hr;
    return reader.Convert(room);
  });
}

}  // namespace kiv

namespace {

bool ReadLocation(const wchar_t* location, const kiv::PictureRoom& room) {
  if (!location) return false;
  const HRESULT hr = kiv::AtBoundary([&] {
    std::wstring path;
    const HRESULT translated = kiv::TranslateLocation(location, &path);
    return Failed(translated) ? translated : kiv::ReadImageFile(path, room);
  });
  if (Failed(hr)) {
    KIV_LOG(LogLevel::kFailure, L"Picture %ls cannot be read: hr %08x", location,
            static_cast<uint32_t>(hr));
  }
  return Succeeded(hr);
}

}  // namespace

namespace KivCommon {

KivComPtr<IKivBitmap> ImageFunc::CreateBitmapFromFile(const wchar_t* path) {
  KivComPtr<IKivBitmap> bitmap;
  const bool read = ReadLocation(path, [&bitmap](const KivSize& size) {
    bitmap = InitBitmap(size.width, size.height);
    return bitmap ? static_cast<uint8_t*>(bitmap->GetPixels()) : nullptr;
  });
  return read ? bitmap : nullptr;
}

KivComPtr<IKivFrame> Dbg::LoadVideoFrameFromBmpFile(const wchar_t* path) {
  KivComPtr<IKivFrame> frame;
  const bool read = ReadLocation(path, [&frame](const KivSize& size) {
    CreateBGRAFrameFrom(frame, size, KivCGMemoryType::kDownstream);
    return frame ? static_cast<uint8_t*>(frame->GetPixels()) : nullptr;
  });
  return read ? frame : nullptr;
}

}  // namespace KivCommon
