// Reading a clip backwards at the decoder: rate against forwards, pictures decoded, memory; the time to
// the first picture and of single steps; and what packing a picture costs and saves.
//
// Baseline: the same clip forwards, in the same run. The argument is the memory budget in MiB.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <vector>

#include "bench/BenchClip.h"
#include "engine/media/MediaFile.h"
#include "engine/media/keep/PackedPicture.h"

namespace {

using Clock = std::chrono::steady_clock;

void SetMemory(int64_t mebibytes) {
  KivComPtr<IKivPictureMemory> memory;
  KivCommon::GetInterface(kPictureMemoryClassId, nullptr, 1, IKivPictureMemory::kIid,
                          memory.PutVoid());
  memory->SetLimit(mebibytes << 20);
}

struct Clip {
  KivComPtr<IKivMediaDecoder> decoder = OpenBenchClip();
  KivComPtr<IKivStreamInfo> info = decoder.As<IKivStreamInfo>();
  KivStreamInfo facts;

  explicit Clip(bool backwards) {
    info->GetInfo(&facts);
    decoder.As<IKivReadDirection>()->ExpectBackwards(backwards);
  }
  void Read() const {
    KivComPtr<IKivFrame> frame;
    decoder->ReadCurrentFrame(&frame);
  }
  void SeekTo(int32_t frame) const {
    int64_t time = 0;
    info->GetFrameTime(frame, &time, nullptr, nullptr);
    decoder->Seek(time, 1);
  }
  double SecondsFor(int32_t frame) const {
    const auto start = Clock::now();
    SeekTo(frame);
    Read();
    return std::chrono::duration<double>(Clock::now() - start).count();
  }
};

void Report(benchmark::State& state, const Clip& clip) {
  KivDecoderStats stats;
  clip.info->GetStats(&stats);
  const double frames = clip.facts.frameCount;
  state.counters["decoded_per_frame"] = static_cast<double>(stats.picturesDecoded) / frames;
  state.counters["passed_over_per_frame"] = static_cast<double>(stats.picturesPassedOver) / frames;
  state.counters["kept_MiB"] = static_cast<double>(stats.cacheBytesAtMost >> 20);
}

void BM_Forwards(benchmark::State& state) {
  for (auto _ : state) {
    const Clip clip(false);
    clip.SeekTo(0);
    for (int32_t i = 0; i < clip.facts.frameCount; ++i, clip.decoder->Skip(1, nullptr)) clip.Read();
    state.SetItemsProcessed(state.items_processed() + clip.facts.frameCount);
    Report(state, clip);
  }
}
BENCHMARK(BM_Forwards)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Backwards(benchmark::State& state) {
  SetMemory(state.range(0));
  for (auto _ : state) {
    const Clip clip(true);
    clip.SeekTo(clip.facts.frameCount - 1);
    for (int32_t i = 0; i < clip.facts.frameCount; ++i, clip.decoder->Skip(-1, nullptr)) {
      clip.Read();
    }
    state.SetItemsProcessed(state.items_processed() + clip.facts.frameCount);
    Report(state, clip);
  }
}
BENCHMARK(BM_Backwards)
    ->Arg(1024)
    ->Arg(512)
    ->Arg(256)
    ->Arg(128)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// One step back at a time, a hundred from each of several places, once the group is there.
void BM_StepBack(benchmark::State& state) {
  SetMemory(1024);
  std::vector<double> times;
  for (auto _ : state) {
    const Clip clip(true);
    const int32_t last = clip.facts.frameCount - 1;
    for (const int32_t from : {last, last / 2, std::min(last, 120)}) {
      clip.SeekTo(from);
      clip.Read();
      clip.decoder->Skip(-1, nullptr);
      clip.Read();
      for (int i = 0; i < 100; ++i) {
        const auto start = Clock::now();
        clip.decoder->Skip(-1, nullptr);
        clip.Read();
        times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
      }
    }
  }
  std::sort(times.begin(), times.end());
  state.counters["median_ms"] = times[times.size() / 2];
  state.counters["p95_ms"] = times[times.size() * 95 / 100];
}
BENCHMARK(BM_StepBack)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

// The first picture after a jump on a clip just opened, with the decoder set to backwards and not.
void BM_FirstPictureAfterSeek(benchmark::State& state) {
  SetMemory(512);
  std::vector<double> ratios;
  for (auto _ : state) {
    std::mt19937 random(1);
    for (int i = 0; i < 15; ++i) {
      const Clip forwards(false);
      const Clip backwards(true);
      forwards.Read();
      backwards.Read();
      const auto frames = static_cast<uint32_t>(forwards.facts.frameCount);
      const auto frame = static_cast<int32_t>(random() % frames);
      const double baseline = forwards.SecondsFor(frame);
      ratios.push_back(backwards.SecondsFor(frame) / baseline);
    }
  }
  std::sort(ratios.begin(), ratios.end());
  state.counters["median_ratio"] = ratios[ratios.size() / 2];
  state.counters["most_ratio"] = ratios.back();
}
BENCHMARK(BM_FirstPictureAfterSeek)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

// A picture from the middle of the clip.
kiv::AvPtr<AVFrame> SamplePicture() {
  std::shared_ptr<kiv::MediaFile> file;
  std::shared_ptr<const kiv::VideoTrack> track;
  std::unique_ptr<kiv::PictureReader> reader;
  const AVFrame* picture = nullptr;
  kiv::MediaFile::Open(BenchClipPath(), {}, &file);
  file->Track(0, &track);
  file->NewReader(*track, {}, &reader);
  reader->At(track->index->FrameCount() / 2, &picture);
  return kiv::HoldAv(av_frame_clone(picture));
}

void BM_Pack(benchmark::State& state) {
  const auto picture = SamplePicture();
  kiv::PackScratch scratch;
  int64_t bytes = 0;
  for (auto _ : state) bytes = kiv::PackedPicture::Pack(*picture, &scratch)->Bytes();
  int64_t plain = 0;
  for (const AVBufferRef* buffer : picture->buf)
    plain += buffer ? static_cast<int64_t>(buffer->size) : 0;
  state.counters["ratio"] = static_cast<double>(plain) / static_cast<double>(bytes);
}
BENCHMARK(BM_Pack)->Unit(benchmark::kMillisecond);

void BM_Unpack(benchmark::State& state) {
  const auto picture = SamplePicture();
  kiv::PackScratch scratch;
  const auto packed = kiv::PackedPicture::Pack(*picture, &scratch);
  const auto unpacked = kiv::NewFrame();
  for (auto _ : state) packed->Unpack(unpacked.get());
}
BENCHMARK(BM_Unpack)->Unit(benchmark::kMillisecond);

}  // namespace
