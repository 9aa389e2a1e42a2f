// One frame of a clip's result.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "session/Api.h"
#include "session/Values.h"

namespace kiv::session {

// BGRA, 8 bits a channel, straight alpha, rows from top to bottom.
//
// Units:    times in 100 ns.
// Owns:     a share of the picture: a copy of a frame is the same picture, and nobody writes it again.
// Threads:  any.
// Errors:   SessionError for a size that cannot be scaled to.
class KIV_SESSION_API Frame {
 public:
  Frame() = default;

  // Null for a default-constructed frame. Valid as long as a copy of this frame lives.
  const uint8_t* Pixels() const { return pixels_.get(); }
  // Bytes from one row to the next.
  ptrdiff_t Stride() const { return stride_; }
  session::Size Size() const { return size_; }
  // Its number in the result, from 0.
  int32_t Index() const { return index_; }
  // When the result shows it, counted from its first frame on.
  int64_t Time() const { return time_; }
  // When the clip itself shows what this frame shows. The time of a generated frame lies between those
  // of two source frames.
  int64_t SourceTime() const { return sourceTime_; }
  // The source frame that it shows; -1 for a generated frame.
  int32_t SourceFrame() const { return sourceFrame_; }
  bool IsGenerated() const { return sourceFrame_ < 0; }

  // The same frame in another size.
  Frame Scaled(session::Size size) const;

 private:
  friend class FrameMaker;

  std::shared_ptr<const uint8_t> pixels_;
  ptrdiff_t stride_ = 0;
  session::Size size_;
  int32_t index_ = -1;
  int32_t sourceFrame_ = -1;
  int64_t time_ = 0, sourceTime_ = 0;
};

}  // namespace kiv::session
