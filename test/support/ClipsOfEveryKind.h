// The numbered clips that everything which reads clips is tested with: each codec, each container.
#pragma once

#include <ostream>
#include <span>

#include "test/support/NumberedClip.h"

namespace kivtest {

struct NamedClip {
  const char* name;
  ClipRecipe recipe;
};
inline void PrintTo(const NamedClip& clip, std::ostream* out) { *out << clip.name; }

// Frame i of each of them carries the number i, and is shown at i / rate.
std::span<const NamedClip> ClipsOfEveryKind();

}  // namespace kivtest
