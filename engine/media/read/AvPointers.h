// Owning pointers to FFmpeg's objects, and safe ways to their fields.
#pragma once

#include <cstring>
#include <memory>
#include <new>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
}

namespace kiv {

struct AvFree {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
};

template <typename T>
using AvPtr = std::unique_ptr<T, AvFree>;

// FFmpeg's null for lack of memory as an exception, so that constructors need no second phase.
template <typename T>
AvPtr<T> HoldAv(T* raw) {
  if (!raw) throw std::bad_alloc();
  return AvPtr<T>(raw);
}

inline AvPtr<AVFrame> NewFrame() { return HoldAv(av_frame_alloc()); }
inline AvPtr<AVPacket> NewPacket() { return HoldAv(av_packet_alloc()); }

// A tag as a number: a damaged file may carry one that is no value of its enumeration, which must not
// be read as one.
template <typename Tag>
int TagNumber(const Tag& tag) {
  static_assert(sizeof(Tag) == sizeof(int));
  int number = 0;
  std::memcpy(&number, &tag, sizeof(number));
  return number;
}
template <typename Tag>
void CopyTag(const Tag& from, Tag* to) {
  std::memcpy(to, &from, sizeof(from));
}

}  // namespace kiv
