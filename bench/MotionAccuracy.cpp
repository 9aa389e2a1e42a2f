// How far measured camera motion is off, against shake that is known because it was made here.
//
// motion_accuracy KIND CLIP [KIND CLIP ...]: the frames are moved by a known shake, resampled from a
// larger picture, and analysed. Of a "still" clip the first frame is used throughout; "third" lets a
// third of it move on its own; "moving" plays the clip, whose own motion is measured without the
// shake and taken off. Prints the RMS error in pixel and degree, and the time of the analysis.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <vector>

#include "engine/logger/Logger.h"
#include "engine/motion/MotionAnalyser.h"
#include "kiv/platform/KivCommon.h"

namespace {

constexpr int kFrames = 60;
constexpr KivSize kSize{1920, 1080};
constexpr double kEnlargement = 1.12;  // so that the shake never reaches the border

KivComPtr<IKivMediaDecoder> Open(const std::string& path) {
  KivComPtr<IKivMediaSource> file;
  KivComPtr<IKivMediaDecoder> decoder;
  const std::wstring wide = KivCommon::Char2WChar(path.c_str());
  KivCommon::GetFactory(nullptr)->OpenMediaFile(file.Put(), wide.c_str(), nullptr);
  if (file) file->GetVideoStream(0, decoder.Put());
  return decoder;
}

struct Pose {
  double x = 0, y = 0, degrees = 0;
};

// A low-passed walk; about 3 pixel and 0.1 degree between frames.
std::vector<Pose> MakeShake(unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> normal;
  std::vector<Pose> poses;
  Pose p, v;
  for (int i = 0; i < kFrames; ++i) {
    v = {0.7 * v.x + 2.3 * normal(random), 0.7 * v.y + 2.3 * normal(random),
         0.7 * v.degrees + 0.075 * normal(random)};
    p = {0.92 * p.x + v.x, 0.92 * p.y + v.y, 0.9 * p.degrees + v.degrees};
    poses.push_back(p);
  }
  return poses;
}

// `scene` is enlarged; content moves by `pose` about the centre.
cv::Mat Shaken(const cv::Mat& scene, const Pose& pose) {
  const double a = pose.degrees * CV_PI / 180;
  const double cx = (kSize.width - 1) / 2.0, cy = (kSize.height - 1) / 2.0;
  const double sx = (scene.cols - 1) / 2.0, sy = (scene.rows - 1) / 2.0;
  const double c = std::cos(a), s = std::sin(a);
  // Output to scene: R(-a) (p - centre - shift) + scene centre.
  const double ox = cx + pose.x, oy = cy + pose.y;
  const cv::Matx23d map(c, s, sx - c * ox - s * oy, -s, c, sy + s * ox - c * oy);
  cv::Mat out;
  cv::warpAffine(scene, out, map, cv::Size(kSize.width, kSize.height),
                 cv::INTER_LANCZOS4 | cv::WARP_INVERSE_MAP, cv::BORDER_REFLECT);
  return out;
}

cv::Mat ReadScene(IKivMediaDecoder& decoder) {
  KivComPtr<IKivFrame> frame;
  decoder.ReadCurrentFrame(&frame);
  const cv::Mat picture(frame->GetBitmap()->GetHeight(), frame->GetBitmap()->GetWidth(), CV_8UC4,
                        frame->GetPixels());
  cv::Mat scene;
  const double scale = std::max(kEnlargement * kSize.width / picture.cols,
                                kEnlargement * kSize.height / picture.rows);
  cv::resize(picture, scene, cv::Size(), scale, scale, cv::INTER_CUBIC);
  return scene;
}

// A third of the scene, replaced by the scene's other side, which wanders off.
void MoveThird(const cv::Mat& still, int frame, cv::Mat* scene) {
  still.copyTo(*scene);
  const int width = still.cols / 3;
  const int from = (still.cols - 2 * width + 5 * frame) % (still.cols - width);
  still.colRange(from, from + width).copyTo(scene->colRange(width, 2 * width));
}

double CpuSeconds() {
  timespec t{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

struct Figures {
  double squareShift = 0, squareAngle = 0, cpu = 0;
  int cuts = 0;
};

// `own` is what moved without the shake.
void Compare(const std::vector<StabMotion>& found, const std::vector<StabMotion>& own,
             const std::vector<Pose>& poses, Figures* sum) {
  for (size_t i = 1; i < found.size(); ++i) {
    // The content's place is shake(own(p)), so the motion is shake x own x the last shake undone.
    const double da = own[i].da + poses[i].degrees - poses[i - 1].degrees;
    const double a = da * CV_PI / 180, now = poses[i].degrees * CV_PI / 180;
    const double tx = poses[i].x + std::cos(now) * own[i].dx - std::sin(now) * own[i].dy -
                      (std::cos(a) * poses[i - 1].x - std::sin(a) * poses[i - 1].y);
    const double ty = poses[i].y + std::sin(now) * own[i].dx + std::cos(now) * own[i].dy -
                      (std::sin(a) * poses[i - 1].x + std::cos(a) * poses[i - 1].y);
    sum->cuts += IsStabCut(found[i]);
    const double ex = found[i].dx - tx, ey = found[i].dy - ty, ea = found[i].da - da;
    sum->squareShift += (ex * ex + ey * ey) / 2;
    sum->squareAngle += ea * ea;
  }
}

Figures Measure(const std::string& kind, const std::string& path) {
  const KivComPtr<IKivMediaDecoder> decoder = Open(path);
  const std::vector<Pose> poses = MakeShake(7);
  kiv::MotionAnalyser analyser(kSize), unshaken(kSize);
  Figures figures;
  decoder->Seek(0, 1);
  cv::Mat still = ReadScene(*decoder), scene = still;
  for (int i = 0; i < kFrames; ++i) {
    if (kind == "third") MoveThird(still, i, &scene);
    if (kind == "moving") {
      scene = ReadScene(*decoder);
      decoder->Skip(1, nullptr);
    }
    unshaken.Add(Shaken(kind == "moving" ? scene : still, {}).data, kSize);
    const cv::Mat frame = Shaken(scene, poses[static_cast<size_t>(i)]);
    const double start = CpuSeconds();
    analyser.Add(frame.data, kSize);
    figures.cpu += CpuSeconds() - start;
  }
  Compare(analyser.Motions(), unshaken.Motions(), poses, &figures);
  return figures;
}

}  // namespace

int main(int count, char** arguments) {
  cv::setNumThreads(1);
  for (int i = 1; i + 1 < count; i += 2) {
    const Figures f = Measure(arguments[i], arguments[i + 1]);
    std::printf("%-7s %-40s error %.4f px %.5f deg, cuts %d, analysis %.2f ms\n", arguments[i],
                arguments[i + 1], std::sqrt(f.squareShift / (kFrames - 1)),
                std::sqrt(f.squareAngle / (kFrames - 1)), f.cuts, 1000 * f.cpu / kFrames);
  }
  return 0;
}
