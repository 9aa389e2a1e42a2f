#include "test/write/WriterReadBack.h"

#include <map>
#include <memory>
#include <random>
#include <stdexcept>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

namespace {

class VideoReader {
 public:
  ~VideoReader() {
    avcodec_free_context(&decoder_);
    avformat_close_input(&file_);
    av_frame_free(&frame_);
    av_packet_free(&packet_);
    sws_freeContext(scaler_);
  }

  void Read(const std::string& path, ReadBack* out) {
    if (avformat_open_input(&file_, path.c_str(), nullptr, nullptr) < 0) return;
    if (avformat_find_stream_info(file_, nullptr) < 0 || file_->nb_streams != 1) return;
    const AVCodecParameters* parameters = file_->streams[0]->codecpar;
    const AVCodec* codec = avcodec_find_decoder(parameters->codec_id);
    decoder_ = avcodec_alloc_context3(codec);
    avcodec_parameters_to_context(decoder_, parameters);
    if (avcodec_open2(decoder_, codec, nullptr) < 0) return;
    while (av_read_frame(file_, packet_) >= 0) {
      avcodec_send_packet(decoder_, packet_);
      av_packet_unref(packet_);
      ReceiveAll(out);
    }
    avcodec_send_packet(decoder_, nullptr);
    ReceiveAll(out);
    Describe(out);
  }

 private:
  void Describe(ReadBack* out) {
    const AVRational rate = file_->streams[0]->avg_frame_rate;
    const AVRational aspect = av_guess_sample_aspect_ratio(file_, file_->streams[0], nullptr);
    out->size = {decoder_->width, decoder_->height};
    out->codec = avcodec_get_name(decoder_->codec_id);
    out->rate = {rate.num, rate.den};
    out->aspect = {aspect.num, aspect.den};
    out->colours = {decoder_->colorspace, decoder_->color_primaries, decoder_->color_trc,
                    decoder_->color_range};
  }

  void ReceiveAll(ReadBack* out) {
    while (avcodec_receive_frame(decoder_, frame_) >= 0) {
      out->times.push_back(static_cast<double>(frame_->best_effort_timestamp) *
                           av_q2d(file_->streams[0]->time_base));
      std::vector<uint8_t> bgra(static_cast<size_t>(frame_->width * frame_->height * 4));
      uint8_t* const rows[] = {bgra.data()};
      const int stride[] = {frame_->width * 4};
      scaler_ = sws_getCachedContext(
          scaler_, frame_->width, frame_->height, static_cast<AVPixelFormat>(frame_->format),
          frame_->width, frame_->height, AV_PIX_FMT_BGRA,
          SWS_POINT | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT, nullptr, nullptr, nullptr);
      const int* matrix = sws_getCoefficients(frame_->colorspace);
      const int fullRange = frame_->color_range == AVCOL_RANGE_JPEG ? 1 : 0;
      sws_setColorspaceDetails(scaler_, matrix, fullRange, matrix, 1, 0, 1 << 16, 1 << 16);
      sws_scale(scaler_, frame_->data, frame_->linesize, 0, frame_->height, rows, stride);
      out->pixels.push_back(std::move(bgra));
    }
  }

  AVFormatContext* file_ = nullptr;
  AVCodecContext* decoder_ = nullptr;
  AVFrame* frame_ = av_frame_alloc();
  AVPacket* packet_ = av_packet_alloc();
  SwsContext* scaler_ = nullptr;
};

}  // namespace

ReadBack ReadVideo(const std::string& path) {
  ReadBack result;
  VideoReader().Read(path, &result);
  return result;
}

std::vector<uint8_t> Flat(KivSize size, Bgra colour) {
  std::vector<uint8_t> bgra;
  for (int i = 0; i < size.width * size.height; ++i) {
    bgra.insert(bgra.end(), {colour.b, colour.g, colour.r, colour.a});
  }
  return bgra;
}

kiv::WriteError WriteGreys(const kiv::OutputPlan& plan, const kiv::PictureSeries& series, int count,
                           int brighter) {
  std::unique_ptr<kiv::Writer> writer;
  if (auto error = kiv::OpenWriter(plan, series, nullptr, &writer)) return error;
  for (int i = 0; i < count; ++i) {
    const auto grey = static_cast<uint8_t>(GreyOf(i) + brighter);
    if (auto error = writer->Write(Flat(series.size, {grey, grey, grey, 255}).data())) return error;
  }
  return writer->Finish();
}

void WriteGreyClip(const std::string& path, const kiv::PictureSeries& series, int count,
                   int brighter) {
  kiv::OutputPlan plan;
  auto error = kiv::PlanOutput({path, "", path.ends_with(".mkv") ? "ffv1" : ""}, &plan);
  if (!error) error = WriteGreys(plan, series, count, brighter);
  if (error) throw std::runtime_error(*error);
}

int CountPictures(const std::string& path) {
  AVFormatContext* file = nullptr;
  AVPacket* packet = av_packet_alloc();
  int pictures = 0;
  if (avformat_open_input(&file, path.c_str(), nullptr, nullptr) >= 0) {
    for (; av_read_frame(file, packet) >= 0; av_packet_unref(packet)) {
      const auto type = file->streams[packet->stream_index]->codecpar->codec_type;
      if (type == AVMEDIA_TYPE_VIDEO) ++pictures;
    }
  }
  av_packet_free(&packet);
  avformat_close_input(&file);
  return pictures;
}

std::vector<SoundBack> ReadSounds(const std::string& path) {
  AVFormatContext* file = nullptr;
  AVPacket* packet = av_packet_alloc();
  std::map<int, SoundBack> sounds;
  if (avformat_open_input(&file, path.c_str(), nullptr, nullptr) >= 0) {
    avformat_find_stream_info(file, nullptr);
    for (; av_read_frame(file, packet) >= 0; av_packet_unref(packet)) {
      const AVStream& stream = *file->streams[packet->stream_index];
      if (stream.codecpar->codec_type != AVMEDIA_TYPE_AUDIO) continue;
      SoundBack& sound = sounds[packet->stream_index];
      if (sound.bytes.empty()) {
        sound.codec = avcodec_get_name(stream.codecpar->codec_id);
        sound.start = static_cast<double>(packet->pts) * av_q2d(stream.time_base);
      }
      sound.bytes.append(reinterpret_cast<const char*>(packet->data),
                         static_cast<size_t>(packet->size));
    }
  }
  av_packet_free(&packet);
  avformat_close_input(&file);
  std::vector<SoundBack> all;
  for (auto& [number, sound] : sounds) all.push_back(std::move(sound));
  return all;
}

void WriteSound(const std::string& path, int streams, double start) {
  constexpr int kRate = 8000, kPackets = 50, kSamples = kRate / kPackets, kBytes = 2 * kSamples;
  AVFormatContext* file = nullptr;
  avformat_alloc_output_context2(&file, nullptr, "matroska", path.c_str());
  for (int i = 0; i < streams; ++i) {
    AVStream* const stream = avformat_new_stream(file, nullptr);
    stream->codecpar->codec_type = AVMEDIA_TYPE_AUDIO;
    stream->codecpar->codec_id = AV_CODEC_ID_PCM_S16LE;
    stream->codecpar->sample_rate = kRate;
    stream->codecpar->bits_per_coded_sample = 16;
    av_channel_layout_default(&stream->codecpar->ch_layout, 1);
    stream->time_base = {1, kRate};
  }
  if (avio_open(&file->pb, path.c_str(), AVIO_FLAG_WRITE) < 0 ||
      avformat_write_header(file, nullptr) < 0) {
    throw std::runtime_error("cannot write " + path);
  }
  std::mt19937 random(7);
  AVPacket* packet = av_packet_alloc();
  for (int i = 0; i < kPackets * streams; ++i) {
    av_new_packet(packet, kBytes);
    for (int at = 0; at < kBytes; ++at) packet->data[at] = static_cast<uint8_t>(random());
    packet->stream_index = i % streams;
    packet->pts = packet->dts = i / streams * kSamples + static_cast<int64_t>(start * kRate);
    packet->duration = kSamples;
    av_packet_rescale_ts(packet, {1, kRate}, file->streams[i % streams]->time_base);
    av_interleaved_write_frame(file, packet);
  }
  av_packet_free(&packet);
  av_write_trailer(file);
  avio_closep(&file->pb);
  avformat_free_context(file);
}
