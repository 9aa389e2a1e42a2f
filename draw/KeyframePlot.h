// Draws the curves of a keyframe document.
#pragma once

#include "draw/Picture.h"
#include "session/KeyframeDocument.h"

namespace kiv::draw {

Picture DrawKeyframes(const session::KeyframeDocument& document);

}  // namespace kiv::draw
