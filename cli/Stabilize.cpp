// stabilize: measures a clip's motion and saves it with the clip's settings.

#include "cli/Commands.h"
#include "cli/InputChecks.h"
#include "cli/Watch.h"
#include "draw/CameraPlot.h"
#include "session/Clip.h"
#include "session/Picture.h"

namespace cli {

void RunStabilize(const Options& options) {
  CheckFiles(options);
  Clip clip = Clip::Open(options.input, options.clip);
  Watch watch(options.progress);
  clip.Analyse(watch.Function());
  watch.End();
  clip.SaveSettings(options.saveSettings);
  if (options.plot.empty()) return;
  const kiv::draw::Picture plot = kiv::draw::DrawCameraPath(clip.Camera());
  WritePicture(options.plot, plot.size, plot.bgra.data());
}

}  // namespace cli
