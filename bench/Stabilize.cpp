// Stabilizes a clip without a chain, to see and to measure what the algorithm does.
//
// stabilize_clip INPUT [LEVEL|measure] [OUTPUT]: OUTPUT as kivclip's (- is YUV4MPEG2, null nothing);
// "measure" stabilizes nothing. Prints to standard error the shake in the input, shot by shot (what
// the path is off from its mean over 15 frames, then its bends from frame to frame, root mean square,
// pixels of a picture 1280 wide and degrees), the share of black pixels, the zoom and the processor
// time.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "engine/logger/Logger.h"
#include "engine/motion/CameraPath.h"
#include "engine/write/Writer.h"
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

// Calls `each` with every frame and its index, and then `after` with the frame; returns the processor
// time of `each` for a frame, in ms.
template <typename Each, typename After>
double ForFrames(const Clip& clip, Each each, After after) {
  double spent = 0;
  clip.decoder->Seek(0, 1);
  for (int32_t i = 0; i < clip.info.frameCount; ++i) {
    KivComPtr<IKivFrame> frame;
    clip.decoder->ReadCurrentFrame(&frame);
    clip.decoder->Skip(1, nullptr);
    const double start = CpuSeconds();
    each(frame.Get(), i);
    spent += CpuSeconds() - start;
    after(frame.Get());
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

// Takes the root mean square.
struct Mean {
  void Add(double value) { sum += value * value, ++count; }
  double Get() const { return count ? std::sqrt(sum / static_cast<double>(count)) : 0; }
  double sum = 0;
  size_t count = 0;
};

struct Shake {
  Mean swing, bend;
};

// `path` is one shot's.
void AddShot(const std::vector<double>& path, Shake* shake) {
  constexpr size_t kReach = 7;
  for (size_t i = kReach; i + kReach < path.size(); ++i) {
    double mean = 0;
    for (size_t k = i - kReach; k <= i + kReach; ++k) mean += path[k];
    shake->swing.Add(path[i] - mean / (2 * kReach + 1));
  }
  for (size_t i = 1; i + 1 < path.size(); ++i) {
    shake->bend.Add(path[i - 1] - 2 * path[i] + path[i + 1]);
  }
}

Shake ShakeOf(const std::vector<StabMotion>& motions, double StabMotion::*axis) {
  Shake shake;
  std::vector<double> path;
  for (const StabMotion& m : motions) {
    if (IsStabCut(m)) {
      AddShot(path, &shake);
      path.clear();
    }
    path.push_back(path.empty() ? 0 : path.back() + m.*axis);
  }
  AddShot(path, &shake);
  return shake;
}

void PrintShake(const StabData& data, const KivSize& size, double black) {
  const double scale = 1280.0 / size.width;
  const Shake x = ShakeOf(data.motions, &StabMotion::dx);
  const Shake y = ShakeOf(data.motions, &StabMotion::dy);
  const Shake a = ShakeOf(data.motions, &StabMotion::da);
  std::fprintf(stderr, "shake x %.3f y %.3f px angle %.4f deg ", scale * x.swing.Get(),
               scale * y.swing.Get(), a.swing.Get());
  std::fprintf(stderr, "bends x %.3f y %.3f px angle %.4f deg black %.4f\n", scale * x.bend.Get(),
               scale * y.bend.Get(), a.bend.Get(), black);
}

// The share of pixels as black as a border.
double BlackShare(IKivFrame* frame) {
  constexpr uint8_t kBlackest = 2;
  const auto* p = static_cast<const uint8_t*>(frame->GetPixels());
  KivFrameDescription about;
  if (!p || Failed(frame->GetDescription(&about))) return 0;
  const size_t pixels = static_cast<size_t>(about.width) * static_cast<size_t>(about.height);
  size_t count = 0;
  for (size_t i = 0; i < pixels; ++i, p += 4) count += std::max({p[0], p[1], p[2]}) <= kBlackest;
  return static_cast<double>(count) / static_cast<double>(pixels);
}

// Returns the processor time for a frame, in ms.
double Analyse(const Clip& clip, IKivStabilizerAlgorithm& algorithm, StabData* data) {
  algorithm.Begin(&clip.info.size);
  algorithm.StartAnalysis();
  double black = 0;
  const double time = ForFrames(
      clip, [&](IKivFrame* frame, int32_t index) { algorithm.AnalyseFrame(frame, index); },
      [&](IKivFrame* frame) { black += BlackShare(frame); });
  algorithm.CollectResult(data);
  PrintShake(*data, clip.info.size, black / std::max(clip.info.frameCount, 1));
  return time;
}

// Returns the processor time for a frame, in ms.
double Correct(const Clip& clip, IKivStabilizerAlgorithm& algorithm, int32_t level,
               kiv::Writer& writer) {
  KivComPtr<IKivFrame> corrected;
  return ForFrames(
      clip,
      [&](IKivFrame* frame, int32_t index) {
        KivCommon::CreateBGRAFrameFrom(corrected, frame, KivCGMemoryType::kDownstream);
        algorithm.CorrectFrame(frame, corrected.Get(), index, level);
      },
      [&](IKivFrame*) { writer.Write(static_cast<const uint8_t*>(corrected->GetPixels())); });
}

double MostEnlarged(const StabData& data, const KivSize& size, int32_t level) {
  double zoom = 1;
  for (const kiv::Correction& c : kiv::CorrectionsFor(data.motions, size, level)) {
    zoom = std::max(zoom, c.zoom);
  }
  return zoom;
}

int Run(const Clip& clip, const std::string& level, const std::string& output) {
  KivComPtr<IKivStabilizerAlgorithm> algorithm;
  KivCommon::GetInterface(kStabilizerAlgorithmClassId, nullptr, 0, IKivStabilizerAlgorithm::kIid,
                          algorithm.PutVoid());
  StabData data;
  const double analysis = Analyse(clip, *algorithm.Get(), &data);
  if (level == "measure") return 0;
  algorithm->SetData(&data);
  const std::unique_ptr<kiv::Writer> writer = OpenOutput(output, clip.info);
  if (!writer) return 1;
  const int32_t strength = std::atoi(level.c_str());
  const double correction = Correct(clip, *algorithm.Get(), strength, *writer);
  std::fprintf(stderr, "%d frames, zoom %.3f%%, analysis %.2f ms, correction %.2f ms\n",
               clip.info.frameCount, 100 * (MostEnlarged(data, clip.info.size, strength) - 1),
               analysis, correction);
  return writer->Finish() ? 1 : 0;
}

}  // namespace

int main(int count, char** arguments) {
  Clip clip;
  if (count < 2 || !Open(arguments[1], &clip)) {
    std::fprintf(stderr, "stabilize_clip INPUT [LEVEL|measure] [OUTPUT]\n");
    return 2;
  }
  const std::string level = count > 2 ? arguments[2] : std::to_string(kStabLevelDefault);
  return Run(clip, level, count > 3 ? arguments[3] : "-");
}
