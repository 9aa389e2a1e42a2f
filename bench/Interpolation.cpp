// How near generated pictures come to the real ones: every second picture of a clip is made again
// from its neighbours.
//
//   interpolation_quality [-m MODE] [-t THREADS] [-n PICTURES] [-o FOLDER] CLIP.y4m ...
//
// Prints, for each clip, the mean luma PSNR (of the mean squared error, as FFmpeg's psnr filter has
// it) and SSIM of the made pictures and the time one took. Clips are 8-bit 4:2:0 YUV4MPEG2; the first
// 59 pictures count unless said otherwise. With -o made and real pictures are written to FOLDER as PPM.

extern "C" {
#include <libavutil/frame.h>
}

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "engine/media/colour/PictureConverter.h"
#include "engine/tween/TweenAlgorithm.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Clock = std::chrono::steady_clock;

struct Picture {
  Bytes planes, bgra;
};

struct Clip {
  KivSize size;
  std::vector<Picture> pictures;
};

struct Arguments {
  uint32_t mode = 0;
  int threads = 2;
  size_t pictures = 59;  // minterpolate makes none after the last pair of 61
  std::string folder;
  std::vector<std::string> clips;
};

size_t Area(const KivSize& size) {
  return static_cast<size_t>(size.width) * static_cast<size_t>(size.height);
}

void Convert(const KivSize& size, Picture* picture) {
  static kiv::PictureConverter converter;
  AVFrame* const frame = av_frame_alloc();
  frame->width = size.width;
  frame->height = size.height;
  frame->format = AV_PIX_FMT_YUV420P;
  // BGRA then holds every luma code; in the limited range it would cut those below 16 off.
  frame->color_range = AVCOL_RANGE_JPEG;
  frame->data[0] = picture->planes.data();
  frame->data[1] = frame->data[0] + Area(size);
  frame->data[2] = frame->data[1] + Area(size) / 4;
  frame->linesize[0] = size.width;
  frame->linesize[1] = frame->linesize[2] = size.width / 2;
  picture->bgra.resize(Area(size) * 4);
  if (Failed(converter.Convert(*frame, {}, size, picture->bgra.data()))) std::abort();
  AVFrame* gone = frame;
  std::fill(std::begin(gone->data), std::end(gone->data), nullptr);
  av_frame_free(&gone);
}

Clip ReadClip(const std::string& path, size_t most) {
  std::ifstream file(path, std::ios::binary);
  std::string header;
  std::getline(file, header);
  Clip clip;
  for (size_t at = header.find(' '); at != std::string::npos; at = header.find(' ', at + 1)) {
    if (header[at + 1] == 'W') clip.size.width = std::atoi(header.c_str() + at + 2);
    if (header[at + 1] == 'H') clip.size.height = std::atoi(header.c_str() + at + 2);
  }
  for (std::string line; clip.pictures.size() < most && std::getline(file, line);) {
    Picture picture;
    picture.planes.resize(Area(clip.size) * 3 / 2);
    file.read(reinterpret_cast<char*>(picture.planes.data()),
              static_cast<std::streamsize>(picture.planes.size()));
    if (!file) break;
    Convert(clip.size, &picture);
    clip.pictures.push_back(std::move(picture));
  }
  return clip;
}

// The luma that an encoder would be given.
Bytes LumaOf(const Bytes& bgra, const KivSize& size) {
  const bool wide = size.width >= 1280 || size.height >= 720;
  const double red = wide ? 0.2126 : 0.299, blue = wide ? 0.0722 : 0.114;
  Bytes luma(Area(size));
  for (size_t i = 0; i < luma.size(); ++i) {
    const uint8_t* const p = bgra.data() + 4 * i;
    const double y = red * p[2] + (1 - red - blue) * p[1] + blue * p[0];
    luma[i] = static_cast<uint8_t>(y + 0.5);
  }
  return luma;
}

double SquaredError(const Bytes& made, const Bytes& real) {
  double sum = 0;
  for (size_t i = 0; i < made.size(); ++i) sum += (made[i] - real[i]) * (made[i] - real[i]);
  return sum / static_cast<double>(made.size());
}

// Mean over windows of 8 x 8, every fourth pixel.
double Ssim(const Bytes& made, const Bytes& real, const KivSize& size) {
  double total = 0;
  int64_t windows = 0;
  for (int y = 0; y + 8 <= size.height; y += 4) {
    for (int x = 0; x + 8 <= size.width; x += 4, ++windows) {
      double a = 0, b = 0, aa = 0, bb = 0, ab = 0;
      for (int k = 0; k < 64; ++k) {
        const size_t at = static_cast<size_t>(y + k / 8) * static_cast<size_t>(size.width) +
                          static_cast<size_t>(x + k % 8);
        const double p = made[at], q = real[at];
        a += p, b += q, aa += p * p, bb += q * q, ab += p * q;
      }
      constexpr double kFirst = 6.5025 * 64 * 64, kSecond = 58.5225 * 64 * 64;
      const double both = a * b, squares = a * a + b * b;
      total += (2 * both + kFirst) * (2 * (64 * ab - both) + kSecond) /
               ((squares + kFirst) * (64 * (aa + bb) - squares + kSecond));
    }
  }
  return total / static_cast<double>(windows);
}

void WritePpm(const std::string& path, const Bytes& bgra, const KivSize& size) {
  std::ofstream file(path, std::ios::binary);
  file << "P6\n" << size.width << ' ' << size.height << "\n255\n";
  Bytes rgb;
  for (size_t i = 0; i < bgra.size(); i += 4) {
    rgb.insert(rgb.end(), {bgra[i + 2], bgra[i + 1], bgra[i]});
  }
  file.write(reinterpret_cast<const char*>(rgb.data()), static_cast<std::streamsize>(rgb.size()));
}

struct Result {
  double error = 0, ssim = 0, milliseconds = 0;
  int made = 0;
};

class Measurement {
 public:
  Measurement(const Arguments& arguments, const Clip& clip, std::string name)
      : arguments_(arguments), clip_(clip), name_(std::move(name)), pool_(arguments.threads) {
    params_.interpolationMode = arguments.mode;
    params_.inBetweenCount = 1;
    algorithm_ = new kiv::tween::TweenAlgorithm(pool_);
    algorithm_->Parameters()->SetKeyValue(kFrameInterpolationParamsKey, XTuple(&params_));
    algorithm_->Commit();
  }
  ~Measurement() { algorithm_->Destroy(1); }

  Result Run() {
    Push(0);
    for (size_t i = 2; i < clip_.pictures.size(); i += 2) {
      Push(i);
      Bytes made(Area(clip_.size) * 4);
      const auto begin = Clock::now();
      algorithm_->Read(made.data(), clip_.size.width, clip_.size.height, 4, 1, 0, 0);
      result_.milliseconds +=
          std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
      Judge(i - 1, made);
    }
    return result_;
  }

 private:
  void Push(size_t i) {
    algorithm_->Push(clip_.pictures[i].bgra.data(), clip_.size.width, clip_.size.height, 4, 0, 0);
  }
  void Judge(size_t i, const Bytes& made) {
    Bytes real(clip_.pictures[i].planes.begin(),
               clip_.pictures[i].planes.begin() + static_cast<ptrdiff_t>(Area(clip_.size)));
    const Bytes luma = LumaOf(made, clip_.size);
    const double error = SquaredError(luma, real);
    result_.error += error;
    result_.ssim += Ssim(luma, real, clip_.size);
    ++result_.made;
    if (arguments_.folder.empty()) return;
    const std::string stem = arguments_.folder + "/" + name_ + "-" + std::to_string(i);
    WritePpm(stem + "-made.ppm", made, clip_.size);
    WritePpm(stem + "-real.ppm", clip_.pictures[i].bgra, clip_.size);
    std::printf("  %s %zu %.2f\n", name_.c_str(), i, 10 * std::log10(255 * 255 / error));
  }

  const Arguments& arguments_;
  const Clip& clip_;
  const std::string name_;
  kiv::tween::RowPool pool_;
  FrameInterpolationParams params_;
  kiv::tween::TweenAlgorithm* algorithm_;
  Result result_;
};

Arguments ReadArguments(int count, char** texts) {
  Arguments arguments;
  for (int i = 1; i < count; ++i) {
    const std::string text = texts[i];
    const bool more = i + 1 < count;
    if (text == "-m" && more) {
      arguments.mode = static_cast<uint32_t>(std::atoi(texts[++i]));
    } else if (text == "-t" && more) {
      arguments.threads = std::atoi(texts[++i]);
    } else if (text == "-n" && more) {
      arguments.pictures = static_cast<size_t>(std::max(std::atoi(texts[++i]), 3));
    } else if (text == "-o" && more) {
      arguments.folder = texts[++i];
    } else {
      arguments.clips.push_back(text);
    }
  }
  return arguments;
}

}  // namespace

int main(int count, char** texts) {
  const Arguments arguments = ReadArguments(count, texts);
  for (const std::string& path : arguments.clips) {
    const Clip clip = ReadClip(path, arguments.pictures);
    const size_t slash = path.rfind('/') + 1;
    const std::string name = path.substr(slash, path.find('.', slash) - slash);
    const Result result = Measurement(arguments, clip, name).Run();
    const double made = std::max(result.made, 1);
    std::printf("%-10s %9.3f %8.5f %8.2f\n", name.c_str(),
                10 * std::log10(255 * 255 / std::max(result.error / made, 1e-9)),
                result.ssim / made, result.milliseconds / made);
    std::fflush(stdout);
  }
  return 0;
}
