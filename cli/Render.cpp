// render and frame: frames from a clip into a file or stream.

#include "cli/Commands.h"
#include "cli/InputChecks.h"
#include "cli/Watch.h"
#include "session/Clip.h"
#include "session/SettingsFile.h"

namespace cli {
namespace {

void Run(const Options& options, const FrameSpan& frames, const char* framesOption) {
  CheckFiles(options);
  ClipOptions wanted = options.clip;
  wanted.measureNodes = !options.report.empty();
  Clip clip = Clip::Open(options.input, wanted);
  ExportPlan plan = options.plan;
  plan.frames = frames;
  plan.framesOption = framesOption;
  Watch watch(options.progress);
  const ExportReport report = clip.Export(plan, watch.Function());
  watch.End();
  if (!options.report.empty()) WriteTextFile(options.report, report.ToJson());
  if (!options.saveSettings.empty()) clip.SaveSettings(options.saveSettings);
}

}  // namespace

void RunRender(const Options& options) { Run(options, options.plan.frames, "--frames"); }

void RunFrame(const Options& options) { Run(options, {options.at, options.at}, "--at"); }

}  // namespace cli
