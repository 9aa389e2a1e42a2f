// Keyframe documents as files.
//
// Errors:   SessionError naming the file and what is wrong with it.
#pragma once

#include <string>

#include "kiv/keyframes/IKivKeyFrameParam.h"

namespace kiv::session {

// Replaces the keyframes by those of a document, in ascending order whatever theirs is; of two with
// one index the first counts. All hold rectangles or all hold numbers: answers which.
KeyFrameKind LoadKeyframes(const std::string& path, IKivKeyFrameParam& keyframes);

// The same for crop regions: rectangles inside the picture, with a width and a height.
void LoadRegions(const std::string& path, IKivKeyFrameParam& keyframes);

bool IsRegion(const KivRectF& region);

}  // namespace kiv::session
