// Small things that the commands do with pulled frames.
#pragma once

#include "kiv/platform/FrameFacts.h"

namespace kiv::session {

// SessionError when there is no memory for it.
KivComPtr<IKivFrame> CopyOf(IKivFrame& frame);
// The frame itself or a copy whose rows have no gaps.
KivComPtr<IKivFrame> Straight(const KivComPtr<IKivFrame>& frame);

}  // namespace kiv::session
