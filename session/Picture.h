// Writes pictures that are not a clip's frames.
//
// Errors:   SessionError naming the file.
#pragma once

#include <cstdint>
#include <string>

#include "session/Api.h"
#include "session/Values.h"

namespace kiv::session {

// One picture into one file whose name ends in .png. `bgra` holds straight rows. The file appears when
// it is complete.
KIV_SESSION_API void WritePicture(const std::string& path, Size size, const uint8_t* bgra);

}  // namespace kiv::session
