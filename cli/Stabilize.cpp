// stabilize: measures a clip's motion and saves it with the clip's settings.

#include "cli/Commands.h"
#include "cli/InputChecks.h"
#include "draw/CameraPlot.h"
#include "session/ChainClip.h"
#include "session/PictureFile.h"

namespace host {

void RunStabilize(const Options& options) {
  CheckFiles(options);
  Clip clip(options.input, options.chain);
  clip.Stabilize(options.progress);
  clip.SaveSettings(options.chain.saveSettings);
  if (options.plot.empty()) return;
  const CameraPlot plot = DrawCameraPath(clip.Settings(), clip.StabilizationLevel());
  WritePicture(options.plan, plot.size, plot.bgra.data());
}

}  // namespace host
