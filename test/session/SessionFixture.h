// Numbered clips through the session library, and what its frames hold.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "session/Clip.h"
#include "test/support/NumberedClip.h"
#include "test/support/TestFolder.h"

namespace kivtest {

// 60 frames of 192x112 at 25 a second, each with its number, a key frame every 12.
inline std::string Numbered() { return MakeClip({.bFrames = 2}); }
// Frame i of 12 starts at 0, 40, 80, 200, 240, 280, 400 ... milliseconds.
inline const std::vector<int64_t> kUnevenMilliseconds = {0,   40,  80,  200, 240, 280,
                                                         400, 440, 480, 600, 640, 680};
inline std::string Uneven() {
  return MakeClip({.container = "mkv", .frames = 12, .times = kUnevenMilliseconds});
}

inline int NumberOf(const kiv::session::Frame& frame) {
  return ReadNumber(frame.Pixels(), frame.Size().width, frame.Size().height);
}

inline std::string BytesOf(const kiv::session::Frame& frame) {
  const auto bytes = static_cast<size_t>(frame.Stride()) * static_cast<size_t>(frame.Size().height);
  return {reinterpret_cast<const char*>(frame.Pixels()), bytes};
}

// The code of the SessionError that `work` throws; nothing else passes.
template <typename Work>
kiv::session::ErrorCode CodeOf(const Work& work) {
  try {
    work();
  } catch (const kiv::session::SessionError& error) {
    EXPECT_STRNE("", error.what());
    return error.Code();
  }
  ADD_FAILURE() << "nothing was thrown";
  return kiv::session::ErrorCode::kFailed;
}

}  // namespace kivtest
