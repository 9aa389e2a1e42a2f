// verify: whether every frame of the chain is the same picture however one comes to it.

#include "session/Verify.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

#include "cli/Commands.h"
#include "cli/InputChecks.h"
#include "cli/Messages.h"
#include "cli/Watch.h"
#include "session/Fail.h"

namespace cli {
namespace {

// 3, 7-9 and so on.
std::string ListOf(const std::vector<int32_t>& frames) {
  std::string text;
  for (size_t i = 0; i < frames.size();) {
    size_t end = i + 1;
    while (end < frames.size() && frames[end] == frames[end - 1] + 1) ++end;
    text += fmt::format("{}{}", text.empty() ? "" : ", ", frames[i]);
    if (end - i > 1) text += fmt::format("-{}", frames[end - 1]);
    i = end;
  }
  return text;
}

}  // namespace

void RunVerify(const Options& options) {
  CheckFiles(options);
  Watch watch(options.progress);
  const VerifyResult result = Verify(options.input, options.clip, options.plan.frames,
                                     watch.Function(), options.saveSettings);
  watch.End();
  std::string text;
  if (!result.backward.empty()) text += "backward: " + ListOf(result.backward) + "\n";
  if (!result.random.empty()) text += "random: " + ListOf(result.random) + "\n";
  if (text.empty()) {
    text = fmt::format("{} frames: forward, backward and random agree\n", result.frames);
  }
  PrintOutput(text);
  if (result.Agrees()) return;
  const size_t differing = std::max(result.backward.size(), result.random.size());
  // A decoder conceals damage with what it decoded before, so the way there matters.
  if (result.picturesLost > 0) {
    return PrintNote(
        fmt::format("note: {} or more frames differ, the clip is damaged: {} of its "
                    "pictures could not be decoded",
                    differing, result.picturesLost));
  }
  FailRun("{} or more of {} frames are other pictures than those shown when playing forward",
          differing, result.frames);
}

}  // namespace cli
