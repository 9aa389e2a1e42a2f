// Stabilizes a clip without a chain, to see and to measure what the algorithm does.
//
// stabilize_clip INPUT [LEVEL] [OUTPUT]: OUTPUT as kivclip's (- is YUV4MPEG2, null nothing). Prints
// to standard error the shake in the input (what the path is off from its mean over 15 frames, root
// mean square, pixels of a picture 1280 wide and degrees), the zoom and the processor time.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "engine/logger/Logger.h"
#include "engine/media/Writer.h"
#include "engine/motion/CameraPath.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Stabilizer.h"

namespace {

struct Clip {
  KivComPtr<IKivMediaDecoder> decoder;
  KivStreamInfo info;
};

bool Open(const char* path, Clip* clip) {
  KivComPtr<IKivMediaSource> file;
  const std::wstring wide = KivCommon::Char2WChar(path);
  KivCommon::GetFactory(nullptr)->OpenMediaFile(file.Put(), wide.c_str(), nullptr);
  if (!file || Failed(file->GetVideoStream(0, clip->decoder.Put()))) return false;
  return Succeeded(clip->decoder.As<IKivStreamInfo>()->GetInfo(&clip->info));
}

double CpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

// Calls `each` with every frame and its index; returns the processor time spent in it.
template <typename Each>
double ForFrames(const Clip& clip, Each each) {
  double spent = 0;
  clip.decoder->Seek(0, 1);
  for (int32_t i = 0; i < clip.info.frameCount; ++i) {
    KivComPtr<IKivFrame> frame;
    clip.decoder->ReadCurrentFrame(&frame);
    clip.decoder->Skip(1, nullptr);
    const double start = CpuSeconds();
    each(frame.Get(), i);
    spent += CpuSeconds() - start;
  }
  return 1000 * spent / std::max(clip.info.frameCount, 1);
}

std::unique_ptr<kiv::Writer> OpenOutput(const std::string& name, const KivStreamInfo& info) {
  kiv::OutputPlan plan;
  kiv::OutputRequest request;
  request.name = name;
  kiv::PictureSeries series;
  series.size = info.size;
  series.frameRate = info.frameRate;
  std::unique_ptr<kiv::Writer> writer;
  kiv::WriteError error = kiv::PlanOutput(request, &plan);
  if (!error) error = kiv::OpenWriter(plan, series, nullptr, &writer);
  if (error) std::fprintf(stderr, "%s\n", error->c_str());
  return writer;
}

double Shake(const std::vector<StabMotion>& motions, double StabMotion::*axis) {
  constexpr size_t kReach = 7;
  std::vector<double> path;
  double at = 0, sum = 0;
  for (const StabMotion& m : motions) path.push_back(at += IsStabCut(m) ? 0 : m.*axis);
  size_t count = 0;
  for (size_t i = kReach; i + kReach < path.size(); ++i, ++count) {
    double mean = 0;
    for (size_t k = i - kReach; k <= i + kReach; ++k) mean += path[k];
    mean /= 2 * kReach + 1;
    sum += (path[i] - mean) * (path[i] - mean);
  }
  return count ? std::sqrt(sum / static_cast<double>(count)) : 0;
}

void PrintShake(const StabData& data, const KivSize& size) {
  const double scale = 1280.0 / size.width;
  std::fprintf(stderr, "shake x %.3f y %.3f px, angle %.4f deg\n",
               scale * Shake(data.motions, &StabMotion::dx),
               scale * Shake(data.motions, &StabMotion::dy), Shake(data.motions, &StabMotion::da));
}

int Stabilize(const Clip& clip, int32_t level, const std::string& output) {
  KivComPtr<IKivStabilizerAlgorithm> algorithm;
  KivCommon::GetInterface(kStabilizerAlgorithmClassId, nullptr, 0, IKivStabilizerAlgorithm::kIid,
                          algorithm.PutVoid());
  algorithm->Begin(&clip.info.size);
  algorithm->StartAnalysis();
  const double analysis = ForFrames(
      clip, [&](IKivFrame* frame, int32_t index) { algorithm->AnalyseFrame(frame, index); });
  StabData data;
  algorithm->CollectResult(&data);
  algorithm->SetData(&data);
  PrintShake(data, clip.info.size);
  const auto corrections = kiv::CorrectionsFor(data.motions, clip.info.size, level);
  double zoom = 1;
  for (const kiv::Correction& c : corrections) zoom = std::max(zoom, c.zoom);
  const std::unique_ptr<kiv::Writer> writer = OpenOutput(output, clip.info);
  if (!writer) return 1;
  KivComPtr<IKivFrame> corrected;
  double writing = 0;
  const double both = ForFrames(clip, [&](IKivFrame* frame, int32_t index) {
    KivCommon::CreateBGRAFrameFrom(corrected, frame, KivCGMemoryType::kDownstream);
    algorithm->CorrectFrame(frame, corrected.Get(), index, level);
    const double start = CpuSeconds();
    writer->Write(static_cast<const uint8_t*>(corrected->GetPixels()));
    writing += CpuSeconds() - start;
  });
  const double correction = both - 1000 * writing / std::max(clip.info.frameCount, 1);
  std::fprintf(stderr, "%d frames, zoom %.2f%%, analysis %.2f ms, correction %.2f ms\n",
               clip.info.frameCount, 100 * (zoom - 1), analysis, correction);
  return writer->Finish() ? 1 : 0;
}

}  // namespace

int main(int count, char** arguments) {
  Clip clip;
  if (count < 2 || !Open(arguments[1], &clip)) {
    std::fprintf(stderr, "stabilize_clip INPUT [LEVEL] [OUTPUT]\n");
    return 2;
  }
  const int32_t level = count > 2 ? std::atoi(arguments[2]) : kStabLevelDefault;
  return Stabilize(clip, level, count > 3 ? arguments[3] : "-");
}
