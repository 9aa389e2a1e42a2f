// Decodes the frames of a video stream, any of them at any time.
//
// The decoder runs on from where it stands when the wanted frame lies ahead in the same group of
// pictures, and starts at the group's key packet otherwise. Packets are tagged with their number, so
// only that number tells which picture came out. A decoder that starts elsewhere has seen the
// stream's first packet before, and gets the palette that applies there.
//
// Units:    frame numbers in the order of display, from 0.
// Owns:     its decoder, its packets and the last picture that came out.
// Threads:  one caller at a time; the decoder has threads of its own.
//           Stop and Counts may be called from any thread.
// Errors:   E_FAIL when nothing can be decoded, E_UNSUPPORTED without a decoder for the codec, E_ABORT
//           after Stop. A damaged frame is replaced by the nearest one before it, or after it where
//           there is none. std::bad_alloc when memory runs out.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "engine/media/read/AvPointers.h"
#include "engine/media/read/FrameIndex.h"
#include "engine/media/read/PacketFeed.h"
#include "kiv/values/Export.h"

namespace kiv {

struct DecoderSettings {
  // 0 takes as many as suit the machine; one will do where the system refuses more.
  int threads = 0;
  // A decoder asked for by name; empty takes the codec's own.
  std::string name;
};

struct ReaderCounts {
  int64_t decoded = 0;     // packets given to the decoder
  int64_t passedOver = 0;  // those of them whose picture lay before the one asked for
  int64_t seeks = 0;
  int64_t replaced = 0;  // frames asked for that another picture stood for
};

// The end of a span of frames, and the last packet that one of them needs.
struct ReadSpan {
  int64_t lastFrame = INT64_MAX;
  int32_t lastPacket = INT32_MAX;
};

class KIV_ENGINE_API PictureReader {
 public:
  PictureReader(std::unique_ptr<PacketFeed> feed, std::shared_ptr<FrameIndex> index);

  HRESULT OpenDecoder(const AVCodecParameters& parameters, AVRational timeBase,
                      const DecoderSettings& settings);
  // `*picture` stays valid until the next call. `frame` lies in the clip.
  HRESULT At(int64_t frame, const AVFrame** picture);
  // The same for a caller that goes through a span and then elsewhere: nothing is decoded that only
  // frames after the span need. `frame` lies in it.
  HRESULT At(int64_t frame, const ReadSpan& span, const AVFrame** picture);
  ReadSpan SpanOf(int64_t first, int64_t last);
  // Ends a call in progress, and every later one until Resume.
  void Stop() { stopped_ = true; }
  void Resume() { stopped_ = false; }
  // The packet whose picture is the first that comes out of the stream; -1 when none does.
  int32_t FirstDecodable();
  ReaderCounts Counts() const { return {decoded_, passedOver_, seeks_, replaced_}; }
  // What a picture of the stream is likely to take, before the first one is there.
  int64_t ExpectedBytes() const { return expectedBytes_; }

 private:
  enum class Outcome { kPicture, kEnd };
  // How far the decoder is with what it was started for.
  enum class State {
    kIdle,          // not started
    kFeeding,       // packets are left to send
    kDraining,      // no more are sent; what comes out ends with frame drainingTo_
    kDrained,       // everything has come out
    kDrainedEarly,  // only what a span needs has come out
    kHopeless,      // the whole stream gave nothing
  };

  HRESULT OpenWith(const AVCodec& codec, const AVCodecParameters& parameters, AVRational timeBase,
                   int threads);
  bool IsRunning() const { return state_ == State::kFeeding || state_ == State::kDraining; }
  bool Holds(int64_t frame) const;
  bool Reach(int64_t frame);
  bool IsLostNearStart(const FrameRoute& route, int64_t frame) const;
  bool MayTryAgain() const;
  bool CanRunOnTo(const FrameRoute& route, int64_t frame) const;
  void Prime(int32_t start);
  bool StartAt(int32_t packet);
  bool RunTo(int64_t frame);
  bool TakeOutput(int64_t frame);
  Outcome ReceivePicture(int64_t wanted);
  void SendNext(int64_t wanted);
  bool MayDrainEarly(int32_t packet) const;
  bool IsPassedOver(int32_t packet, int64_t wanted);
  int64_t NumberOf(const AVFrame& picture);
  HRESULT Substitute(int64_t frame);
  void Report(int64_t frame);

  const std::unique_ptr<PacketFeed> feed_;
  const std::shared_ptr<FrameIndex> index_;
  AvPtr<AVCodecContext> decoder_;
  AvPtr<AVFrame> incoming_;
  // The last picture at or before the frame asked for. It stands for frames from shownFrom_ on.
  AvPtr<AVFrame> shown_;
  int64_t shownFrom_ = -1;
  int64_t shownFrame_ = -1;
  // A picture that came out beyond the frame asked for.
  AvPtr<AVFrame> next_;
  int64_t nextFrame_ = -1;

  State state_ = State::kIdle;
  int64_t drainingTo_ = -1;  // INT64_MAX: to the end of the stream
  bool primed_ = false;      // the decoder has seen the stream's first packet
  bool reported_ = false;
  int32_t startedAt_ = 0;
  int failures_ = 0;
  int64_t outputs_ = 0;  // since the last start, for streams without stamps
  ReadSpan span_;
  // Pictures before this frame may have been left out, and not only those already passed.
  int64_t passedOverTo_ = -1;
  int64_t expectedBytes_ = 0;
  std::atomic<int64_t> decoded_ = 0;
  std::atomic<int64_t> passedOver_ = 0;
  std::atomic<int64_t> seeks_ = 0;
  std::atomic<int64_t> replaced_ = 0;
  std::atomic<bool> stopped_ = false;
};

}  // namespace kiv
