#include "session/OptionChecks.h"

#include <cmath>
#include <limits>
#include <optional>

#include "kiv/platform/PictureFacts.h"
#include "kiv/platform/Stabilizer.h"
#include "session/Convert.h"
#include "session/Fail.h"
#include "session/KeyframeFile.h"
#include "session/NodeNames.h"
#include "session/OptionLimits.h"
#include "session/OptionValues.h"

namespace kiv::session {
namespace {

void CheckTerms(const char* option, const std::optional<Rational>& value) {
  if (!value || IsSpeed(*value)) return;
  FailUsage("{} {}/{}: expected terms from 1 to {}", option, value->numerator, value->denominator,
            kLargestTerm);
}

template <typename Number>
void CheckBetween(const char* option, const std::optional<Number>& value, Number least,
                  Number most) {
  if (!value || (*value >= least && *value <= most)) return;
  FailUsage("{} {}: expected a number from {} to {}", option, *value, least, most);
}

void CheckPicture(const ClipOptions& options) {
  if (options.size && !kiv::IsPictureSize(options.size->width, options.size->height)) {
    FailUsage("--size {}x{}: expected sides from 1 to {}, {} pixels at most", options.size->width,
              options.size->height, kiv::kMaxPictureSide, kiv::kMaxPicturePixels);
  }
  if (const auto& crop = options.crop; crop && !IsRegion(ToKiv(*crop))) {
    FailUsage(
        "--crop {:g},{:g},{:g},{:g}: the part does not lie inside the picture, whose edges are 0 "
        "and 1",
        crop->left, crop->top, crop->width, crop->height);
  }
}

void CheckAlpha(const AlphaOptions& alpha) {
  constexpr double kShortest = 1e-6;
  CheckBetween("--alpha-color", alpha.colour, 0, kLargestColour);
  if (const auto& gradient = alpha.gradient) {
    for (const int32_t colour : {gradient->first, gradient->second}) {
      CheckBetween("--alpha-gradient", std::optional(colour), 0, kLargestColour);
    }
    if (!std::isfinite(gradient->angle)) FailUsage("--alpha-gradient: the angle is no number");
  }
  CheckBetween("--alpha-duration", alpha.duration, kShortest, kMostSeconds);
  CheckBetween("--alpha-pause", alpha.pause, 0.0, kMostSeconds);
  CheckBetween("--alpha-length", alpha.length, kShortest, kMostSeconds);
  CheckBetween("--alpha-loop", alpha.loop, 0, std::numeric_limits<int32_t>::max());
}

}  // namespace

void CheckValues(const ClipOptions& options) {
  if (!options.chain.empty()) {
    std::string text;
    for (const std::string& name : options.chain) text += (text.empty() ? "" : ",") + name;
    CheckNodeNames("--chain", text, options.chain);
  }
  CheckPicture(options);
  CheckTerms("--decode-scale", options.decodeScale);
  CheckTerms("--speed", options.speed);
  CheckTerms("--fps", options.frameRate);
  CheckBetween("--memory", options.memory, int64_t{0}, kMostMemory << 20);
  if (options.stabilize) {
    CheckBetween("--stabilize", options.stabilize->level, 0, int32_t{kStabLevelMax});
  }
  CheckAlpha(options.alpha);
}

}  // namespace kiv::session
