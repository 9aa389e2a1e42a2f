// One clip as a person thinks of it: steadied, cut, backwards, slower, at another rate, frame by frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string>

#include "session/Api.h"
#include "session/CameraPath.h"
#include "session/ClipOptions.h"
#include "session/Export.h"
#include "session/Frame.h"
#include "session/MediaInfo.h"
#include "session/Progress.h"
#include "session/SessionError.h"

namespace kiv::session {

class FrameRange;

// Units:    frames count the result from 0; times in 100 ns.
// Owns:     its decoders and what they keep; the memory for that is one budget of the process.
// Threads:  one caller at a time, of any thread. Frames may go anywhere; other clips are independent.
// Errors:   SessionError. The clip can still be asked for other frames afterwards.
class KIV_SESSION_API Clip {
 public:
  // Checks every option against the clip.
  static Clip Open(const std::string& path, const ClipOptions& options = {});
  // A clip that was moved from can be assigned to or go away, nothing else.
  Clip(Clip&&) noexcept;
  Clip& operator=(Clip&&) noexcept;
  ~Clip();

  // Of the file.
  const MediaInfo& Info() const;
  // Of the result.
  int32_t FrameCount() const;
  Rational FrameRate() const;
  // The sample aspect that shows pictures of `size` in the clip's own shape.
  Rational SampleAspect(Size size) const;

  // The frame that playing shows there, generated ones included, whatever was requested before. One
  // step forward or back is fastest. kOutOfRange for a number that the result does not have.
  Frame At(int32_t index);
  // Of the first or last frame for numbers beyond.
  int64_t TimeOf(int32_t index) const;
  // The frame shown at a time; the first or last one for times outside the result.
  int32_t IndexAt(int64_t time) const;
  // For loops. The clip must not be moved meanwhile, so a temporary one has none.
  FrameRange Frames() &;
  // `what` is what messages call the span. kOutOfRange for frames that the result does not have,
  // kInvalidArgument for a span that ends before it begins.
  FrameRange Frames(const FrameSpan& span, const char* what = "the span") &;

  // Measures the camera's motion if the clip is to be steadied and has no motion data that match.
  // The first operation that needs frames does it too.
  void Analyse(const ProgressFunction& progress = {});
  // kFailed for a clip that was not steadied.
  CameraPath Camera();

  // Writes frames, and the clip's sound if that fits. The output gets its name when it is complete.
  // kInvalidArgument for an output that the clip reads, kWriteFailed for one that cannot be written.
  ExportReport Export(const ExportPlan& plan, const ProgressFunction& progress = {});
  ExportReport Export(const std::string& output, const ProgressFunction& progress = {});

  // kDamaged if none of the pictures needed so far could be decoded: placeholders were shown instead.
  void RequirePictures() const;

  // What ClipOptions::settings takes to open the same clip again. "-" is standard output. Errors as
  // for Export; the settings that the clip was opened with may be replaced.
  void SaveSettings(const std::string& path);

 private:
  struct Impl;
  explicit Clip(std::unique_ptr<Impl> impl);

  std::unique_ptr<Impl> impl_;
};

// Frames of a clip in their order, each read when the loop comes to it.
class KIV_SESSION_API FrameRange {
 public:
  class Iterator {
   public:
    using iterator_category = std::input_iterator_tag;
    using value_type = Frame;
    using difference_type = std::ptrdiff_t;
    using pointer = const Frame*;
    using reference = Frame;

    Iterator(Clip* clip, int32_t index) : clip_(clip), index_(index) {}
    Frame operator*() const { return clip_->At(index_); }
    Iterator& operator++() {
      ++index_;
      return *this;
    }
    Iterator operator++(int) { return {clip_, index_++}; }
    bool operator==(const Iterator& other) const { return index_ == other.index_; }

   private:
    Clip* clip_;
    int32_t index_;
  };

  FrameRange(Clip* clip, int32_t first, int32_t end) : clip_(clip), first_(first), end_(end) {}
  int32_t First() const { return first_; }
  int32_t Count() const { return end_ - first_; }
  Iterator begin() const { return {clip_, first_}; }
  Iterator end() const { return {clip_, end_}; }

 private:
  Clip* clip_;
  int32_t first_, end_;
};

}  // namespace kiv::session
