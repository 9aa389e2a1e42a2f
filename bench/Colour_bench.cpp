// YUV 4:2:0 to BGRA, 1080p, one core: our kernel beside the general libraries. `flat_error` is the
// largest error over flat colours, in 8-bit codes, against the definition in real numbers.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

#include "engine/media/colour/PictureConverter.h"

extern "C" {
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}
#include <libyuv/convert_argb.h>
#ifdef KIV_BENCH_ZIMG
#include <zimg.h>
#endif

namespace {

struct FrameDeleter {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using FramePtr = std::unique_ptr<AVFrame, FrameDeleter>;
using Convert = std::function<void(const AVFrame&, uint8_t*)>;

FramePtr MakePicture(int width, int height, AVPixelFormat format = AV_PIX_FMT_YUV420P) {
  FramePtr frame(av_frame_alloc());
  frame->format = format;
  frame->width = width;
  frame->height = height;
  frame->colorspace = AVCOL_SPC_BT709;
  frame->color_range = AVCOL_RANGE_MPEG;
  av_frame_get_buffer(frame.get(), 64);
  for (int plane = 0; plane < 3; ++plane) {
    const int rows = plane == 0 ? height : height / 2;
    for (int i = 0; i < rows * frame->linesize[plane]; ++i) {
      frame->data[plane][i] = static_cast<uint8_t>(format == AV_PIX_FMT_YUV420P ? 16 + i * 7 % 200
                                                   : i % 2                      ? 1
                                                                                : i * 7 % 200);
    }
  }
  return frame;
}

double FlatError(const Convert& convert) {
  constexpr int kSide = 64;
  double worst = 0;
  FramePtr picture = MakePicture(kSide, kSide);
  std::vector<uint8_t> bgra(kSide * kSide * 4);
  for (int luma = 16; luma <= 235; luma += 9) {
    for (int cb = 16; cb <= 240; cb += 14) {
      for (int cr = 16; cr <= 240; cr += 14) {
        const int values[3] = {luma, cb, cr};
        for (int plane = 0; plane < 3; ++plane) {
          const int rows = plane == 0 ? kSide : kSide / 2;
          std::memset(picture->data[plane], values[plane],
                      static_cast<size_t>(rows * picture->linesize[plane]));
        }
        convert(*picture, bgra.data());
        const double l = (luma - 16) / 219.0, pb = (cb - 128) / 224.0, pr = (cr - 128) / 224.0;
        const double red = l + 2 * (1 - 0.2126) * pr, blue = l + 2 * (1 - 0.0722) * pb;
        const double green = (l - 0.2126 * red - 0.0722 * blue) / 0.7152;
        const double want[3] = {blue, green, red};
        for (int c = 0; c < 3; ++c) {
          const double code = std::clamp(want[c] * 255, 0.0, 255.0);
          const size_t middle = (kSide / 2 * kSide + kSide / 2) * 4;
          worst = std::max(worst, std::abs(code - bgra[middle + static_cast<size_t>(c)]));
        }
      }
    }
  }
  return worst;
}

void Run(benchmark::State& state, const Convert& convert, const FramePtr& picture) {
  std::vector<uint8_t> bgra(static_cast<size_t>(picture->width * picture->height * 4));
  for (auto _ : state) {
    convert(*picture, bgra.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
  if (picture->format == AV_PIX_FMT_YUV420P) state.counters["flat_error"] = FlatError(convert);
}

void BM_Ours(benchmark::State& state) {
  kiv::PictureConverter converter;
  Run(
      state,
      [&](const AVFrame& p, uint8_t* out) {
        converter.Convert(p, {}, {p.width, p.height}, out);
      },
      MakePicture(1920, 1080));
}
BENCHMARK(BM_Ours)->Unit(benchmark::kMillisecond);

void BM_OursTenBits(benchmark::State& state) {
  kiv::PictureConverter converter;
  Run(
      state,
      [&](const AVFrame& p, uint8_t* out) {
        converter.Convert(p, {}, {p.width, p.height}, out);
      },
      MakePicture(1920, 1080, AV_PIX_FMT_YUV420P10));
}
BENCHMARK(BM_OursTenBits)->Unit(benchmark::kMillisecond);

void BM_OursHalfSize(benchmark::State& state) {
  kiv::PictureConverter converter;
  Run(
      state,
      [&](const AVFrame& p, uint8_t* out) {
        converter.Convert(p, {}, {p.width / 2, p.height / 2}, out);
      },
      MakePicture(1920, 1080, AV_PIX_FMT_YUV420P10));
}
BENCHMARK(BM_OursHalfSize)->Unit(benchmark::kMillisecond);

void BM_Libyuv(benchmark::State& state) {
  Run(
      state,
      [](const AVFrame& p, uint8_t* out) {
        libyuv::I420ToARGBMatrix(p.data[0], p.linesize[0], p.data[1], p.linesize[1], p.data[2],
                                 p.linesize[2], out, p.width * 4, &libyuv::kYuvH709Constants,
                                 p.width, p.height);
      },
      MakePicture(1920, 1080));
}
BENCHMARK(BM_Libyuv)->Unit(benchmark::kMillisecond);

void BM_LibyuvBilinearChroma(benchmark::State& state) {
  Run(
      state,
      [](const AVFrame& p, uint8_t* out) {
        libyuv::I420ToARGBMatrixFilter(
            p.data[0], p.linesize[0], p.data[1], p.linesize[1], p.data[2], p.linesize[2], out,
            p.width * 4, &libyuv::kYuvH709Constants, p.width, p.height, libyuv::kFilterBilinear);
      },
      MakePicture(1920, 1080));
}
BENCHMARK(BM_LibyuvBilinearChroma)->Unit(benchmark::kMillisecond);

void RunSwscale(benchmark::State& state, int flags) {
  SwsContext* context = nullptr;
  Run(
      state,
      [&](const AVFrame& p, uint8_t* out) {
        context = sws_getCachedContext(context, p.width, p.height, AV_PIX_FMT_YUV420P, p.width,
                                       p.height, AV_PIX_FMT_BGRA, flags, nullptr, nullptr, nullptr);
        const int* const matrix = sws_getCoefficients(SWS_CS_ITU709);
        sws_setColorspaceDetails(context, matrix, 0, matrix, 1, 0, 1 << 16, 1 << 16);
        uint8_t* const planes[4] = {out, nullptr, nullptr, nullptr};
        const int strides[4] = {p.width * 4, 0, 0, 0};
        sws_scale(context, p.data, p.linesize, 0, p.height, planes, strides);
      },
      MakePicture(1920, 1080));
  sws_freeContext(context);
}

void BM_SwscaleFast(benchmark::State& state) { RunSwscale(state, SWS_BILINEAR); }
BENCHMARK(BM_SwscaleFast)->Unit(benchmark::kMillisecond);

void BM_SwscaleAccurate(benchmark::State& state) {
  RunSwscale(state, SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT);
}
BENCHMARK(BM_SwscaleAccurate)->Unit(benchmark::kMillisecond);

#ifdef KIV_BENCH_ZIMG
// Planar RGB: zimg leaves the interleaving to BGRA to its caller, which is timed with it.
void BM_Zimg(benchmark::State& state) {
  zimg_filter_graph* graph = nullptr;
  KivSize built;
  std::vector<uint8_t> scratch, planar;
  const auto build = [&](int width, int height) {
    if (graph) zimg_filter_graph_free(graph);
    zimg_image_format in, out;
    zimg_image_format_default(&in, ZIMG_API_VERSION);
    zimg_image_format_default(&out, ZIMG_API_VERSION);
    in.width = out.width = static_cast<unsigned>(width);
    in.height = out.height = static_cast<unsigned>(height);
    in.pixel_type = out.pixel_type = ZIMG_PIXEL_BYTE;
    in.subsample_w = in.subsample_h = 1;
    in.color_family = ZIMG_COLOR_YUV;
    in.matrix_coefficients = ZIMG_MATRIX_BT709;
    in.pixel_range = ZIMG_RANGE_LIMITED;
    out.color_family = ZIMG_COLOR_RGB;
    out.matrix_coefficients = ZIMG_MATRIX_RGB;
    out.pixel_range = ZIMG_RANGE_FULL;
    graph = zimg_filter_graph_build(&in, &out, nullptr);
    size_t bytes = 0;
    zimg_filter_graph_get_tmp_size(graph, &bytes);
    scratch.resize(bytes + 64);
    planar.resize(static_cast<size_t>(width) * static_cast<size_t>(height) * 3 + 64);
    built = {width, height};
  };
  Run(
      state,
      [&](const AVFrame& p, uint8_t* out) {
        if (!(built == KivSize{p.width, p.height})) build(p.width, p.height);
        const auto align = [](uint8_t* at) {
          return reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(at) + 63) &
                                            ~uintptr_t{63});
        };
        const size_t planeBytes = static_cast<size_t>(p.width) * static_cast<size_t>(p.height);
        uint8_t* const base = align(planar.data());
        zimg_image_buffer_const in = {ZIMG_API_VERSION, {}};
        zimg_image_buffer to = {ZIMG_API_VERSION, {}};
        for (int i = 0; i < 3; ++i) {
          in.plane[i] = {p.data[i], p.linesize[i], ZIMG_BUFFER_MAX};
          to.plane[i] = {base + planeBytes * static_cast<size_t>(i), p.width, ZIMG_BUFFER_MAX};
        }
        zimg_filter_graph_process(graph, &in, &to, align(scratch.data()), nullptr, nullptr, nullptr,
                                  nullptr);
        for (size_t i = 0; i < planeBytes; ++i) {
          out[4 * i] = base[2 * planeBytes + i];
          out[4 * i + 1] = base[planeBytes + i];
          out[4 * i + 2] = base[i];
          out[4 * i + 3] = 255;
        }
      },
      MakePicture(1920, 1080));
  zimg_filter_graph_free(graph);
}
BENCHMARK(BM_Zimg)->Unit(benchmark::kMillisecond);
#endif

}  // namespace
