// An opened libavcodec video encoder with one frame to fill.
//
// Owns:     the codec context, the frame and the packet.
// Threads:  one caller at a time; the codec may run threads of its own.
// Errors:   one line naming the encoder and libavcodec's reason.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "engine/write/Writer.h"

struct AVCodecContext;
struct AVFrame;
struct AVPacket;

namespace kiv {

// libavutil's text of an error code.
std::string AvErrorText(int code);

class WriterEncoder {
 public:
  // Handles one packet; the packet may be changed.
  using PacketSink = std::function<WriteError(AVPacket&)>;

  WriterEncoder() = default;
  ~WriterEncoder();
  WriterEncoder(const WriterEncoder&) = delete;
  WriterEncoder& operator=(const WriterEncoder&) = delete;

  // Makes the context of a named encoder with size, rate and aspect set; the caller then fills in
  // the rest and calls Open.
  WriteError Prepare(const char* encoderName, KivSize size, int pixelFormat,
                     const PictureSeries& series);
  WriteError Open();

  AVCodecContext* Context() const { return context_; }
  // The frame to fill next; null when memory runs out. The encoder may still read the former
  // one, so its memory can be another each time.
  AVFrame* WritableFrame();
  WriteError Encode(int64_t number, const PacketSink& sink);
  // Hands out what is left.
  WriteError Drain(const PacketSink& sink);

 private:
  void Free();
  WriteError ReceiveAll(const PacketSink& sink);

  AVCodecContext* context_ = nullptr;
  AVFrame* frame_ = nullptr;
  AVPacket* packet_ = nullptr;
};

}  // namespace kiv
