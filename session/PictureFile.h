// One picture into one file.
//
// Errors:   HostError naming the file.
#pragma once

#include <cstdint>

#include "engine/write/Writer.h"

namespace host {

// `bgra` holds straight rows. The file appears when it is complete.
void WritePicture(const kiv::OutputPlan& plan, KivSize size, const uint8_t* bgra);

}  // namespace host
