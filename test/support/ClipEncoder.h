// Encodes numbered clips.
#pragma once

#include <string>

#include "test/support/NumberedClip.h"

namespace kivtest {

// Writes the clip to `path`; throws std::runtime_error with the step that failed.
void EncodeClip(const ClipRecipe& recipe, const std::string& path);

}  // namespace kivtest
