// Opening clips and reading numbers off their frames, for the tests of this folder.
#pragma once

#include <cstdint>
#include <string>

#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Media.h"
#include "test/support/NumberedClip.h"

namespace kivtest {

// Null when the factory refuses the file or it has no such stream.
KivComPtr<IKivMediaDecoder> OpenDecoder(const std::string& path, int threads = 0);
HRESULT TryOpen(const std::string& path);
// The number of the current frame; -1 for an unreadable one, -2 when reading failed.
int CurrentNumber(IKivMediaDecoder* decoder);
KivStreamInfo InfoOf(const KivComPtr<IKivMediaDecoder>& decoder);
KivDecoderStats StatsOf(const KivComPtr<IKivMediaDecoder>& decoder);

// trunc(index x 10^7 / rate), as a chain's source asks for a frame.
int64_t FrameTime(int64_t index, KivRational rate);

}  // namespace kivtest
