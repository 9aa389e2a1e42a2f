// sheet: a clip's frames as one picture of labelled tiles.

#include "draw/Sheet.h"

#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/InputChecks.h"
#include "cli/Messages.h"
#include "cli/Watch.h"
#include "session/Picture.h"

namespace cli {

void RunSheet(const Options& options) {
  CheckFiles(options);
  Clip clip = Clip::Open(options.input, options.clip);
  Watch watch(options.progress);
  const kiv::draw::Sheet sheet =
      kiv::draw::DrawSheet(clip, options.plan.frames, "--frames", watch.Function());
  watch.End();
  WritePicture(options.output, sheet.picture.size, sheet.picture.bgra.data());
  if (!options.saveSettings.empty()) clip.SaveSettings(options.saveSettings);
  if (sheet.step > 1) {
    PrintNote(fmt::format("the sheet shows one frame in {} of {}", sheet.step, sheet.frames));
  }
}

}  // namespace cli
