// Forward playback and random access on a real clip.
//
// Baseline: FFmpeg decoding the same file, nothing converted.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <vector>

#include "bench/BenchClip.h"
#include "engine/logger/Logger.h"
#include "engine/memory/BufferPool.h"
#include "kiv/platform/KivCommon.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace {

constexpr int kThreads = 2;
constexpr int kRequests = 200;

int64_t TimeOf(IKivStreamInfo& info, int32_t frame) {
  int64_t time = 0;
  info.GetFrameTime(frame, &time, nullptr, nullptr);
  return time;
}

int CountDecoded(const std::string& path) {
  AVFormatContext* input = nullptr;
  if (avformat_open_input(&input, path.c_str(), nullptr, nullptr) < 0) return 0;
  avformat_find_stream_info(input, nullptr);
  const AVCodec* codec = nullptr;
  const int stream = av_find_best_stream(input, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
  AVCodecContext* decoder = avcodec_alloc_context3(codec);
  avcodec_parameters_to_context(decoder, input->streams[stream]->codecpar);
  decoder->thread_count = kThreads;
  avcodec_open2(decoder, codec, nullptr);
  AVPacket* packet = av_packet_alloc();
  AVFrame* frame = av_frame_alloc();
  int count = 0;
  const auto drain = [&] {
    while (avcodec_receive_frame(decoder, frame) >= 0) ++count;
  };
  while (av_read_frame(input, packet) >= 0) {
    if (packet->stream_index == stream) avcodec_send_packet(decoder, packet);
    av_packet_unref(packet);
    drain();
  }
  avcodec_send_packet(decoder, nullptr);
  drain();
  av_frame_free(&frame);
  av_packet_free(&packet);
  avcodec_free_context(&decoder);
  avformat_close_input(&input);
  return count;
}

void BM_DecodingAlone(benchmark::State& state) {
  int64_t frames = 0;
  for (auto _ : state) frames += CountDecoded(BenchClipPath());
  state.SetItemsProcessed(frames);
}
BENCHMARK(BM_DecodingAlone)->Unit(benchmark::kMillisecond)->UseRealTime();

// Every frame as BGRA; `late_allocations` counts frame memory taken after the first second.
void BM_ForwardPlayback(benchmark::State& state) {
  int64_t frames = 0;
  int64_t late = 0;
  for (auto _ : state) {
    const KivComPtr<IKivMediaDecoder> decoder = OpenBenchClip();
    KivStreamInfo info;
    decoder.As<IKivStreamInfo>()->GetInfo(&info);
    const auto second = static_cast<int32_t>(info.frameRate.ToDouble() + 1);
    int64_t before = 0;
    decoder->Seek(0, 1);
    for (int32_t i = 0; i < info.frameCount; ++i) {
      KivComPtr<IKivFrame> frame;
      decoder->ReadCurrentFrame(&frame);
      decoder->Skip(1, nullptr);
      if (i == second) before = kiv::BufferPool::Shared().Figures().systemAllocations;
    }
    late += kiv::BufferPool::Shared().Figures().systemAllocations - before;
    frames += info.frameCount;
  }
  state.SetItemsProcessed(frames);
  state.counters["late_allocations"] = static_cast<double>(late);
}
BENCHMARK(BM_ForwardPlayback)->Unit(benchmark::kMillisecond)->UseRealTime();

struct Access {
  double milliseconds;
  int64_t decoded;
  int64_t fromKey;  // pictures from the key frame before the request to it, both included
};

Access Request(IKivMediaDecoder& decoder, IKivStreamInfo& info, int32_t frame) {
  int32_t distance = 0;
  for (int32_t isKey = 0; distance <= frame; ++distance) {
    info.GetFrameTime(frame - distance, nullptr, nullptr, &isKey);
    if (isKey) break;
  }
  KivDecoderStats before, after;
  info.GetStats(&before);
  const auto start = std::chrono::steady_clock::now();
  KivComPtr<IKivFrame> picture;
  decoder.Seek(TimeOf(info, frame), 0);
  decoder.ReadCurrentFrame(&picture);
  const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
  info.GetStats(&after);
  return {taken.count(), after.picturesDecoded - before.picturesDecoded, distance + 1};
}

void BM_RandomAccess(benchmark::State& state) {
  const KivComPtr<IKivMediaDecoder> decoder = OpenBenchClip();
  const KivComPtr<IKivStreamInfo> info = decoder.As<IKivStreamInfo>();
  KivStreamInfo clip;
  info->GetInfo(&clip);
  std::mt19937 random(1);
  std::uniform_int_distribution<int32_t> any(0, clip.frameCount - 1);
  std::vector<double> times;
  int64_t decoded = 0;
  int64_t mostOver = INT64_MIN;
  for (auto _ : state) {
    for (int i = 0; i < kRequests; ++i) {
      const Access access = Request(*decoder, *info, any(random));
      times.push_back(access.milliseconds);
      decoded += access.decoded;
      mostOver = std::max(mostOver, access.decoded - access.fromKey);
    }
  }
  std::sort(times.begin(), times.end());
  state.counters["median_ms"] = times[times.size() / 2];
  state.counters["p95_ms"] = times[times.size() * 95 / 100];
  state.counters["decoded_each"] = static_cast<double>(decoded) / static_cast<double>(times.size());
  // Pictures decoded beyond those from the key frame to the request: what reordering needs.
  state.counters["most_over"] = static_cast<double>(mostOver);
}
BENCHMARK(BM_RandomAccess)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

}  // namespace
