// The file that a clip's pictures are read from in its place, and what a user should know of it.
#pragma once

#include <string>

#include "kiv/platform/Media.h"
#include "session/ClipOptions.h"

namespace kiv::session {

// Tells the host when the file gives no pictures, or ends before the clip does. Both are what
// the decoder lives with: it reads the clip itself, or shows the last picture on.
void TellOfProxy(const std::wstring& path, const KivStreamInfo& clip, const NoteFunction& onNote);

}  // namespace kiv::session
