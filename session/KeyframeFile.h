// Keyframe documents as files.
//
// Errors:   SessionError naming the file and what is wrong with it.
#pragma once

#include <string>

#include "kiv/keyframes/IKivKeyFrameParam.h"
#include "kiv/platform/Properties.h"

namespace kiv::session {

// Replaces the keyframes by those of a document, in ascending order whatever theirs is; of two with
// one index the first counts. All hold rectangles or all hold numbers: answers which.
KeyFrameKind LoadKeyframes(const std::string& path, IKivKeyFrameParam& keyframes);

// The same for crop regions: rectangles inside the picture, with a width and a height.
void LoadRegions(const std::string& path, IKivKeyFrameParam& keyframes);

// The same for the document that a clip's settings, read from `path`, hold under `key`: the text counts,
// whatever the entry beside it says of its length. False when there are no keyframes.
bool LoadStoredRegions(const std::string& path, const wchar_t* key, IKivProperties* settings,
                       IKivKeyFrameParam& keyframes);

bool IsRegion(const KivRectF& region);

}  // namespace kiv::session
