#include "engine/media/read/MediaInput.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Logger.h"

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/intreadwrite.h>
#include <libavutil/mem.h>
}

namespace kiv {
namespace {

constexpr int kIoBufferBytes = 1 << 16;
constexpr auto kOpeningTime = std::chrono::seconds(30);

// What is opened. Formats that name other files (play-lists, concatenations, session descriptions,
// numbered pictures) and devices are left out on purpose.
constexpr char kFormats[] =
    "mov,mp4,m4a,3gp,3g2,mj2,matroska,webm,avi,mpegts,mpeg,mpegvideo,h264,hevc,m4v,mjpeg,mjpeg_"
    "2000,"
    "ivf,obu,av1,flv,ogg,asf,asf_o,nut,mxf,gxf,gif,apng,dv,yuv4mpegpipe,rm,dnxhd,vc1,vc1test,h263,"
    "h261,cavsvideo,dirac,ivr,wtv,nsv,nuv,swf,smjpeg,bmp_pipe,dds_pipe,dpx_pipe,exr_pipe,j2k_pipe,"
    "jpeg_pipe,jpegls_pipe,jpegxl_pipe,pam_pipe,pbm_pipe,pcx_pipe,pgm_pipe,png_pipe,ppm_pipe,"
    "psd_pipe,qoi_pipe,sgi_pipe,sunrast_pipe,tiff_pipe,webp_pipe,xbm_pipe,xpm_pipe";

std::wstring Wide(const std::string& text) { return KivCommon::Char2WChar(text.c_str()); }

std::wstring ErrorText(int error) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(error, text.data(), text.size());
  return KivCommon::Char2WChar(text.data());
}

HRESULT Refuse(const std::string& path, HRESULT hr, const wchar_t* why) {
  KIV_LOG(LogLevel::kFailure, L"MediaInput: %ls: %ls", Wide(path).c_str(), why);
  return hr;
}

// Options for each stream's probing decoder: find_stream_info takes one dictionary a stream.
class StreamOptions {
 public:
  explicit StreamOptions(unsigned count) : options_(count, nullptr) {
    for (AVDictionary*& options : options_) {
      av_dict_set_int(&options, "max_pixels", kMaxPicturePixels, 0);
    }
  }
  ~StreamOptions() {
    for (AVDictionary*& options : options_) av_dict_free(&options);
  }
  StreamOptions(const StreamOptions&) = delete;
  StreamOptions& operator=(const StreamOptions&) = delete;

  AVDictionary** Data() { return options_.empty() ? nullptr : options_.data(); }

 private:
  std::vector<AVDictionary*> options_;
};

}  // namespace

HRESULT MediaInput::Open(const std::string& path, std::unique_ptr<MediaInput>* input) {
  std::unique_ptr<MediaInput> opened(new MediaInput(path));
  if (const HRESULT hr = opened->OpenFile(); Failed(hr)) return hr;
  if (const HRESULT hr = opened->OpenDemuxer(); Failed(hr)) return hr;
  *input = std::move(opened);
  return S_OK;
}

MediaInput::~MediaInput() {
  avformat_close_input(&context_);
  if (io_) av_freep(&io_->buffer);
  avio_context_free(&io_);
  if (descriptor_ >= 0) close(descriptor_);
}

// Opened without waiting, so that a pipe without a writer is noticed instead of waited for.
HRESULT MediaInput::OpenFile() {
  descriptor_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor_ < 0) {
    const bool missing = errno == ENOENT || errno == ENOTDIR;
    return Refuse(path_, missing ? E_NOTFOUND : E_UNSUPPORTED,
                  missing ? L"no such file" : L"cannot be opened");
  }
  struct stat status {};
  if (fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) {
    return Refuse(path_, E_UNSUPPORTED, L"not a regular file");
  }
  if (status.st_size == 0) return Refuse(path_, E_UNSUPPORTED, L"empty file");
  fileSize_ = status.st_size;
  return S_OK;
}

HRESULT MediaInput::OpenDemuxer() {
  auto* buffer = static_cast<uint8_t*>(av_malloc(kIoBufferBytes));
  if (!buffer) throw std::bad_alloc();
  io_ = avio_alloc_context(buffer, kIoBufferBytes, 0, this, &ReadBytes, nullptr, &SeekBytes);
  if (!io_) av_free(buffer);
  context_ = avformat_alloc_context();
  if (!io_ || !context_) throw std::bad_alloc();
  context_->pb = io_;
  context_->io_open = &RefuseFile;
  context_->interrupt_callback = {&IsOverdue, this};
  deadline_ = std::chrono::steady_clock::now() + kOpeningTime;
  const int error = ProbeStreams();
  deadline_ = std::chrono::steady_clock::time_point::max();
  if (error == AVERROR(ENOMEM)) throw std::bad_alloc();
  if (error < 0) return Refuse(path_, E_UNSUPPORTED, ErrorText(error).c_str());
  return S_OK;
}

// No file name is handed over: the content alone decides what kind of file it is.
int MediaInput::ProbeStreams() {
  AVDictionary* options = nullptr;
  av_dict_set(&options, "format_whitelist", kFormats, 0);
  av_dict_set(&options, "protocol_whitelist", "none", 0);
  av_dict_set_int(&options, "max_streams", 64, 0);
  const int opened = avformat_open_input(&context_, "", nullptr, &options);
  av_dict_free(&options);
  if (opened < 0) return opened;
  StreamOptions streamOptions(context_->nb_streams);
  return avformat_find_stream_info(context_, streamOptions.Data());
}

bool MediaInput::IsFormat(const char* name) const {
  return av_match_name(name, context_->iformat->name) > 0;
}

std::vector<int> MediaInput::VideoStreams() const {
  constexpr int kStill = AV_DISPOSITION_ATTACHED_PIC | AV_DISPOSITION_TIMED_THUMBNAILS;
  std::vector<int> streams;
  for (unsigned i = 0; i < context_->nb_streams; ++i) {
    const AVStream& stream = *context_->streams[i];
    if (stream.codecpar->codec_type != AVMEDIA_TYPE_VIDEO || (stream.disposition & kStill))
      continue;
    streams.push_back(static_cast<int>(i));
  }
  return streams;
}

std::vector<int> MediaInput::AudioStreams() const {
  std::vector<int> streams;
  for (unsigned i = 0; i < context_->nb_streams; ++i) {
    if (context_->streams[i]->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) continue;
    streams.push_back(static_cast<int>(i));
  }
  return streams;
}

// Fragments bring tables of their own, which are read as they come.
bool MediaInput::HasFragments() const {
  constexpr int kMostBoxes = 4096;
  int64_t offset = 0;
  for (int box = 0; box < kMostBoxes && offset < fileSize_; ++box) {
    std::array<uint8_t, 16> head{};
    if (pread(descriptor_, head.data(), head.size(), offset) < 8) return true;
    if (std::memcmp(&head[4], "moof", 4) == 0) return true;
    uint64_t size = AV_RB32(head.data());
    if (size == 0) return false;  // up to the end
    if (size == 1) size = AV_RB64(&head[8]);
    if (size < 8 || size > static_cast<uint64_t>(fileSize_ - offset)) return size < 8;
    offset += static_cast<int64_t>(size);
  }
  return offset < fileSize_;
}

std::optional<std::vector<int64_t>> MediaInput::ListedTimes(int stream) const {
  // Other containers' tables are of key frames, or count packets that are not frames.
  if (!IsFormat("mov") || HasFragments()) return std::nullopt;
  std::vector<int64_t> times;
  for (int i = 0; i < avformat_index_get_entries_count(Stream(stream)); ++i) {
    const AVIndexEntry& entry = *avformat_index_get_entry(Stream(stream), i);
    if (entry.pos > fileSize_ - entry.size) return std::nullopt;
    if (entry.flags & AVINDEX_DISCARD_FRAME) continue;
    if (!times.empty() && entry.timestamp <= times.back()) return std::nullopt;
    times.push_back(entry.timestamp);
  }
  return times.empty() ? std::nullopt : std::optional(std::move(times));
}

void MediaInput::Select(std::span<const int> streams) {
  for (unsigned i = 0; i < context_->nb_streams; ++i) {
    const auto found = std::find(streams.begin(), streams.end(), static_cast<int>(i));
    context_->streams[i]->discard = found != streams.end() ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
}

bool MediaInput::ReadAny(AVPacket* packet) {
  av_packet_unref(packet);
  const int error = av_read_frame(context_, packet);
  if (error == AVERROR(ENOMEM)) throw std::bad_alloc();
  return error >= 0;
}

bool MediaInput::ReadPacket(int stream, AVPacket* packet) {
  while (ReadAny(packet)) {
    if (packet->stream_index == stream) return true;
  }
  return false;
}

int MediaInput::ReadBytes(void* self, uint8_t* buffer, int size) {
  auto* const input = static_cast<MediaInput*>(self);
  if (IsOverdue(self)) return AVERROR_EXIT;
  const ssize_t count =
      pread(input->descriptor_, buffer, static_cast<size_t>(size), input->offset_);
  if (count < 0) return AVERROR(errno);
  if (count == 0) return AVERROR_EOF;
  input->offset_ += count;
  return static_cast<int>(count);
}

int64_t MediaInput::SeekBytes(void* self, int64_t offset, int whence) {
  auto* const input = static_cast<MediaInput*>(self);
  if (whence & AVSEEK_SIZE) return input->fileSize_;
  switch (whence & ~AVSEEK_FORCE) {
    case SEEK_SET:
      break;
    case SEEK_CUR:
      offset += input->offset_;
      break;
    case SEEK_END:
      offset += input->fileSize_;
      break;
    default:
      return AVERROR(EINVAL);
  }
  if (offset < 0) return AVERROR(EINVAL);
  return input->offset_ = offset;
}

int MediaInput::RefuseFile(AVFormatContext*, AVIOContext** io, const char*, int, AVDictionary**) {
  *io = nullptr;
  return AVERROR(EPERM);
}

int MediaInput::IsOverdue(void* self) {
  const auto* const input = static_cast<const MediaInput*>(self);
  if (input->deadline_ == std::chrono::steady_clock::time_point::max()) return 0;
  return std::chrono::steady_clock::now() > input->deadline_ ? 1 : 0;
}

}  // namespace kiv
