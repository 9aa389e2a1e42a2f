#include <unistd.h>

#include <filesystem>

#include "cli/Commands.h"
#include "cli/OptionTable.h"
#include "session/Fail.h"

namespace cli {
namespace {

void RefuseTerminal(const Options& options) {
  if (options.output != "-" || isatty(STDOUT_FILENO) == 0) return;
  FailUsage("standard output is a terminal, which cannot show {}: lead it into a file or a program",
            options.form == OutputForm::kPicture ? "a picture" : "raw video");
}

void CompleteRender(Options* options) {
  options->form = FormOf(options->plan);
  const FrameSpan& frames = options->plan.frames;
  const bool single = frames.last && *frames.last == frames.first;
  if (options->form == OutputForm::kPicture && !single) {
    FailUsage(
        "the output '{}' holds one picture: give a pattern such as frame_%04d.png, or "
        "one frame with --frames N:N",
        options->output);
  }
  RefuseTerminal(*options);
}

bool IsPicture(const ExportPlan& plan) {
  try {
    return FormOf(plan) == OutputForm::kPicture;
  } catch (const SessionError&) {
    return false;
  }
}

void CompletePicture(Options* options) {
  if (options->output == "-") options->plan.format = "png";
  if (!IsPicture(options->plan)) {
    FailUsage("the output '{}' is no picture: give a name that ends in .png or .jpg, without %",
              options->output);
  }
  options->form = OutputForm::kPicture;
  RefuseTerminal(*options);
}

void CompletePlot(Options* options) {
  if (options->plot.empty()) return;
  options->output = options->plot;
  options->plan.output = options->plot;
  CompletePicture(options);
}

void CompleteStabilize(Options* options) {
  CompletePlot(options);
  if (!options->clip.stabilize) options->clip.stabilize.emplace();
  if (!std::filesystem::exists(options->clip.settings)) options->clip.settings.clear();
}

constexpr CommandRow kCommands[] = {
    {"render", kRenderBit, true, "Renders a clip through its chain into a file or stream",
     "render clip.mp4 -o slow.mp4 --speed 1/4", RunRender, CompleteRender},
    {"frame", kFrameBit, true, "Writes one frame of the chain as a picture",
     "frame clip.mp4 --at 42 -o frame.png", RunFrame, CompletePicture},
    {"sheet", kSheetBit, true, "Writes a contact sheet: every frame with its number and time",
     "sheet clip.mp4 -o sheet.png --reverse", RunSheet, CompletePicture},
    {"stabilize", kStabilizeBit, true, "Measures how the camera moved, for --stabilize",
     "stabilize clip.mp4 --settings clip.json --plot path.png", RunStabilize, CompleteStabilize},
    {"verify", kVerifyBit, true,
     "Pulls every frame forward, backward and at random, and names those that differ",
     "verify clip.mp4 --fps 60", RunVerify, nullptr, true},
    {"keyframes", kKeyframesBit, true, "Lists, evaluates or draws a keyframe document",
     "keyframes zoom.json --plot zoom.png", RunKeyframes, CompletePlot},
    {"info", kInfoBit, true, "Shows what a clip's video stream is", "info clip.mp4 --json",
     RunInfo},
    {"register", kRegisterBit, false, "Enters the component into the registry", "register",
     RunRegister},
    {"unregister", kUnregisterBit, false, "Takes the component out of the registry", "unregister",
     RunUnregister},
};

}  // namespace

std::span<const CommandRow> CommandTable() { return kCommands; }

}  // namespace cli
