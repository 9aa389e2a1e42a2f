// A clip as it is pulled: one chain or, for an alpha preset over footage, two, and the picture that
// fills the preset's shape.
//
// Pictures of another size than the footage's are scaled to fit inside it, in its middle.
// Units:    frame numbers count the result from 0.
// Owns:     both chains.
// Threads:  one caller at a time.
// Errors:   SessionError.
#pragma once

#include <memory>
#include <vector>

#include "session/ChainClip.h"

namespace kiv::session {

class Composite {
 public:
  Composite(std::unique_ptr<ChainClip> clip, std::unique_ptr<ChainClip> footage);

  ChainClip& Main() { return *clip_; }
  const ChainClip& Main() const { return *clip_; }
  // What a viewer takes for the clip: the footage where there is one.
  const ChainClip& Shown() const { return footage_ ? *footage_ : *clip_; }
  bool HasFootage() const { return footage_ != nullptr; }

  const ResultShape& Result() const { return clip_->Result(); }
  bool HasAlpha() const { return Shown().HasAlpha(); }
  KivRational SampleAspect(KivSize size) const { return Shown().SampleAspect(size); }
  std::vector<int64_t> TimesOf(KivRange range) const { return Shown().TimesOf(range); }
  // Whether a frame pulled stays as it is when the next one is pulled.
  bool FramesStay() const { return clip_->FramesStay() || IsComposed(); }

  // Shows what playing from the first frame shows there.
  void Seek(int32_t frame);
  void Advance();
  void Retreat();
  KivComPtr<IKivFrame> Pull();
  // Throws when not one of the pictures asked for could be decoded.
  void RequirePictures() const;

 private:
  bool IsComposed() const { return clip_->Fill() || footage_; }
  KivComPtr<IKivFrame> Filled(const KivComPtr<IKivFrame>& frame) const;
  KivComPtr<IKivFrame> OverFootage(const KivComPtr<IKivFrame>& frame) const;

  std::unique_ptr<ChainClip> clip_;
  std::unique_ptr<ChainClip> footage_;
};

// Opens what a path and options name and builds its chains. `measured` as for Prepare.
std::unique_ptr<Composite> BuildClip(const std::string& path, const ClipOptions& options,
                                     KivPropDecorator measured = {});

}  // namespace kiv::session
