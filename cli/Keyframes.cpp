// keyframes: prints or draws what a keyframe document gives at each frame.

#include <fmt/format.h>

#include <string>

#include "cli/Commands.h"
#include "cli/InputChecks.h"
#include "cli/Messages.h"
#include "draw/KeyframePlot.h"
#include "session/KeyframeDocument.h"
#include "session/Picture.h"

namespace cli {
namespace {

// Regions as --crop takes them.
std::string TextOf(const KeyframeDocument& document, const KeyframeValue& value) {
  if (!document.HoldsRegions()) return fmt::format("{:.6f}", value[0]);
  return fmt::format("{:.6f},{:.6f},{:.6f},{:.6f}", value[0], value[1], value[2], value[3]);
}

void List(const KeyframeDocument& document) {
  std::string text;
  for (const Keyframe& key : document.Keyframes()) {
    text += fmt::format("{} {}\n", key.frame, TextOf(document, key.value));
  }
  PrintOutput(text);
}

}  // namespace

void RunKeyframes(const Options& options) {
  CheckFiles(options);
  const auto document = KeyframeDocument::Open(options.input);
  if (!options.plot.empty()) {
    const kiv::draw::Picture picture = kiv::draw::DrawKeyframes(document);
    WritePicture(options.plot, picture.size, picture.bgra.data());
  }
  if (options.atFrame) {
    PrintOutput(TextOf(document, document.ValueAt(*options.atFrame)) + "\n");
  }
  if (options.plot.empty() && !options.atFrame) List(document);
}

}  // namespace cli
