// The file from which a clip's pictures are read instead, and what a user should know about it.
#pragma once

#include <string>

#include "kiv/platform/Media.h"
#include "session/ClipOptions.h"

namespace kiv::session {

// Tells the host when the file gives no pictures, or ends before the clip does. The
// decoder handles both: it reads the clip itself, or repeats the last picture.
void TellOfProxy(const std::wstring& path, const KivStreamInfo& clip, const NoteFunction& onNote);

}  // namespace kiv::session
