// What is done to an alpha preset's pictures after its chain: filling the shape with an image, and
// laying it over the footage of another clip.
//
// Pictures of another size than the footage's are scaled to fit inside it, in its middle.
// Owns:     the prepared image and the footage's clip.
// Threads:  one caller at a time.
// Errors:   HostError.
#pragma once

#include <memory>

#include "kiv/platform/Frame.h"

namespace host {

class Clip;

class Overlay {
 public:
  Overlay();
  ~Overlay();

  void SetFill(KivComPtr<IKivFrame> image) { fill_ = std::move(image); }
  void SetFootage(std::unique_ptr<Clip> footage);
  const Clip* Footage() const { return footage_.get(); }

  bool IsOn() const { return fill_ || footage_; }
  void Seek(int32_t frame);
  void Step(int32_t count);
  // A new frame with the time and index of `frame`, or `frame` itself when there is nothing to do.
  KivComPtr<IKivFrame> Compose(const KivComPtr<IKivFrame>& frame) const;

 private:
  KivComPtr<IKivFrame> Filled(const KivComPtr<IKivFrame>& frame) const;
  KivComPtr<IKivFrame> OverFootage(const KivComPtr<IKivFrame>& frame) const;

  KivComPtr<IKivFrame> fill_;
  std::unique_ptr<Clip> footage_;
};

}  // namespace host
