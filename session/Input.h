// The first video stream of a file, before any chain.
//
// Errors:   SessionError naming the file and the reason.
#pragma once

#include <string>
#include <vector>

#include "kiv/platform/KivComPtr.h"
#include "kiv/platform/Media.h"
#include "session/ClipOptions.h"
#include "session/MediaInfo.h"

namespace kiv::session {

struct OpenedInput {
  KivComPtr<IKivMediaDecoder> decoder;
  KivComPtr<IKivStreamInfo> streamInfo;
  KivStreamInfo info;
};
// `what` is what messages call the file.
OpenedInput OpenInput(const std::string& path, const char* what = "the input",
                      const NoteFunction& onNote = {}, const ProgressFunction& onOpening = {});
// What an editor would say about a file that is not there, before any library is asked.
void CheckFile(const std::string& path, const char* what);

// Without the key frames, which take a look at every frame.
MediaInfo InfoOf(const KivStreamInfo& stream);
std::vector<int32_t> KeyFramesOf(IKivStreamInfo& stream, int32_t frameCount);

// The sample aspect that shows a picture of `size` in the clip's own shape.
KivRational OutputSampleAspect(const KivStreamInfo& info, KivSize size);

}  // namespace kiv::session
