// Opening clips and reading numbers off their frames, for the tests of this folder.
#pragma once

#include <cstdint>
#include <string>

#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Media.h"
#include "test/support/NumberedClip.h"

namespace kivtest {

// Null, with the reason in `error`, when the file is refused. 0 threads: as many as it likes.
KivComPtr<IKivMediaDecoder> OpenDecoder(const std::string& path, int threads = 0,
                                        HRESULT* error = nullptr);
// Throws std::runtime_error when the clip is refused.
KivComPtr<IKivMediaDecoder> OpenClip(const ClipRecipe& recipe, int threads = 0);
// Null when reading failed.
KivComPtr<IKivFrame> CurrentFrame(const KivComPtr<IKivMediaDecoder>& decoder);
// The number a frame carries; -1 for an unreadable one, -2 for none.
int NumberOf(const KivComPtr<IKivFrame>& frame);
int CurrentNumber(const KivComPtr<IKivMediaDecoder>& decoder);
int NumberAt(const KivComPtr<IKivMediaDecoder>& decoder, int64_t time);
KivStreamInfo InfoOf(const KivComPtr<IKivMediaDecoder>& decoder);
KivDecoderStats StatsOf(const KivComPtr<IKivMediaDecoder>& decoder);

}  // namespace kivtest
