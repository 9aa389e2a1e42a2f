// Cuts a clip's pictures to the region that its crop node reports for each frame.
//
// Units:    regions in fractions of the picture; sizes in pixels.
// Owns:     a reference to the facade.
// Threads:  one caller at a time.
// Errors:   SessionError.
#pragma once

#include <optional>

#include "kiv/chain/IKivRender.h"
#include "kiv/component/IKivVideoStreamProcess.h"
#include "kiv/platform/Frame.h"
#include "kiv/platform/Properties.h"
#include "session/ClipOptions.h"

namespace kiv::session {

class Crop {
 public:
  // Whether a chain needs the crop node, as its last one: for what the options or the clip's settings
  // say.
  static bool IsWanted(const ClipOptions& options, IKivProperties* settings);

  // Once the settings are loaded, the sizes known and the render range set: what the options ask for
  // goes to the node, and all that does not fit is refused. Leaves the clip at frame 0.
  void SetUp(const ClipOptions& options, IKivProperties* settings,
             const KivComPtr<IKivVideoStreamProcessInternal>& process, IKivRenderEx& render);

  bool IsOn() const { return size_.has_value(); }
  // The part of the frame at the clip's position, in the size that the region of frame 0 has; the
  // frame itself when that is all of it.
  KivComPtr<IKivFrame> Cut(const KivComPtr<IKivFrame>& frame) const;

 private:
  void Animate(const ClipOptions& options) const;
  void LoadStored(const ClipOptions& options, IKivProperties* settings) const;
  bool IsFixed() const;
  KivSize FirstSize(IKivRenderEx& render) const;

  KivComPtr<IKivVideoStreamProcessInternal> process_;
  std::optional<KivSize> size_;  // of every picture; none when nothing is cut
  bool isFixed_ = false;         // one region for all frames
};

}  // namespace kiv::session
