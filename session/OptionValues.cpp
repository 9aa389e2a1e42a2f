#include "session/OptionValues.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <numeric>

#include "kiv/platform/PictureFacts.h"
#include "kiv/platform/Stabilizer.h"
#include "session/Convert.h"
#include "session/Fail.h"
#include "session/KeyframeFile.h"
#include "session/NodeNames.h"
#include "session/OptionLimits.h"
#include "session/OptionTable.h"

namespace kiv::session {
namespace {

constexpr size_t kMostPlaces = 6;

// The whole text as digits; nothing else is a number here, no sign, no blank.
template <typename Integer>
std::optional<Integer> ReadDigits(std::string_view text) {
  Integer value = 0;
  if (text.empty() || text[0] < '0' || text[0] > '9') return std::nullopt;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// The parts around the first `mark`; nothing without one.
struct Halves {
  std::string_view left, right;
};
std::optional<Halves> SplitAt(std::string_view text, char mark) {
  const size_t at = text.find(mark);
  if (at == std::string_view::npos) return std::nullopt;
  return Halves{text.substr(0, at), text.substr(at + 1)};
}

// The whole text as a decimal number.
std::optional<double> ReadDecimal(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

// Six digits; a # before them is a habit worth bearing with.
std::optional<int32_t> ReadHex(std::string_view text) {
  constexpr size_t kDigits = 6;
  if (text.starts_with('#')) text.remove_prefix(1);
  int32_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
  const bool isWhole = error == std::errc() && end == text.data() + text.size();
  if (!isWhole || text.size() != kDigits || text.starts_with('-')) return std::nullopt;
  return value;
}

bool IsTerm(const std::optional<int64_t>& value) {
  return value && *value > 0 && *value <= kLargestTerm;
}

std::optional<Rational> ReadFraction(std::string_view text) {
  const auto halves = SplitAt(text, '/');
  if (!halves) return std::nullopt;
  const auto numerator = ReadDigits<int64_t>(halves->left);
  const auto denominator = ReadDigits<int64_t>(halves->right);
  if (!IsTerm(numerator) || !IsTerm(denominator)) return std::nullopt;
  return Rational{*numerator, *denominator};
}

// Exactly: 0.4 is 2/5.
std::optional<Rational> ReadExactDecimal(std::string_view text) {
  const auto halves = SplitAt(text, '.');
  const std::string_view places = halves ? halves->right : std::string_view();
  const bool startsWithPoint = halves && halves->left.empty();
  const auto whole = startsWithPoint ? std::optional<int64_t>(0)
                                     : ReadDigits<int64_t>(halves ? halves->left : text);
  const auto part = halves ? ReadDigits<int64_t>(places) : std::optional<int64_t>(0);
  if (!whole || !part || *whole > kLargestTerm || places.size() > kMostPlaces) return std::nullopt;
  int64_t denominator = 1;
  for (size_t i = 0; i < places.size(); ++i) denominator *= 10;
  const int64_t numerator = *whole * denominator + *part;
  const int64_t divisor = std::gcd(numerator, denominator);
  if (!IsTerm(numerator / divisor)) return std::nullopt;
  return Rational{numerator / divisor, denominator / divisor};
}

}  // namespace

Size ReadSize(std::string_view option, std::string_view text) {
  if (const auto halves = SplitAt(text, 'x')) {
    const auto width = ReadDigits<int32_t>(halves->left);
    const auto height = ReadDigits<int32_t>(halves->right);
    if (width && height && kiv::IsPictureSize(*width, *height)) return {*width, *height};
  }
  FailUsage("{} {}: expected WIDTHxHEIGHT such as 1280x720, sides from 1 to {}, {} pixels at most",
            option, text, kiv::kMaxPictureSide, kiv::kMaxPicturePixels);
}

bool IsSpeed(const Rational& speed) { return IsTerm(speed.numerator) && IsTerm(speed.denominator); }

Rational ReadSpeed(std::string_view option, std::string_view text) {
  if (const auto speed =
          text.find('/') == text.npos ? ReadExactDecimal(text) : ReadFraction(text)) {
    return *speed;
  }
  FailUsage(
      "{} {}: expected a fraction such as 1/2, terms from 1 to {}, or a decimal such as 0.4, "
      "at most {} places",
      option, text, kLargestTerm, kMostPlaces);
}

Rational ReadRate(std::string_view option, std::string_view text) {
  if (const auto rate = ReadFraction(text.find('/') == text.npos ? std::string(text) + "/1"
                                                                 : std::string(text))) {
    return *rate;
  }
  FailUsage("{} {}: expected a frame rate such as 60 or 30000/1001, terms from 1 to {}", option,
            text, kLargestTerm);
}

Interpolation ReadInterpolation(std::string_view option, std::string_view text) {
  if (text == "flow") return Interpolation::kFlow;
  if (text == "off") return Interpolation::kOff;
  FailUsage("{} {}: expected flow or off", option, text);
}

Rational ReadScale(std::string_view option, std::string_view text) {
  if (const auto scale = ReadFraction(text)) return *scale;
  FailUsage("{} {}: expected a fraction such as 1/2, terms from 1 to {}", option, text,
            kLargestTerm);
}

FrameSpan ReadSpan(std::string_view option, std::string_view text) {
  if (const auto halves = SplitAt(text, ':')) {
    const auto first = ReadDigits<int32_t>(halves->left);
    if (first && halves->right.empty()) return {*first, std::nullopt};
    const auto last = ReadDigits<int32_t>(halves->right);
    if (first && last && *first <= *last) return {*first, *last};
  }
  FailUsage("{} {}: expected FIRST:LAST such as 0:99, both included, FIRST not above LAST", option,
            text);
}

Region ReadRegion(std::string_view option, std::string_view text) {
  Region region;
  std::string_view rest = text;
  for (double* const side : {&region.left, &region.top, &region.width, &region.height}) {
    const auto halves = SplitAt(rest, ',');
    const auto value = ReadDecimal(halves ? halves->left : rest);
    const bool isLast = side == &region.height;
    if (!value || halves.has_value() == isLast) {
      FailUsage("{} {}: expected LEFT,TOP,WIDTH,HEIGHT such as 0.25,0.25,0.5,0.5", option, text);
    }
    *side = *value;
    if (halves) rest = halves->right;
  }
  if (IsRegion(ToKiv(region))) return region;
  FailUsage("{} {}: the part does not lie inside the picture, whose edges are 0 and 1", option,
            text);
}

int32_t ReadColour(std::string_view option, std::string_view text) {
  if (const auto colour = ReadHex(text)) return *colour;
  FailUsage("{} {}: expected a colour as RRGGBB such as FF8000", option, text);
}

GradientFill ReadGradient(std::string_view option, std::string_view text) {
  const auto first = SplitAt(text, ',');
  const auto rest = first ? SplitAt(first->right, ',') : std::nullopt;
  if (rest) {
    const auto from = ReadHex(first->left), to = ReadHex(rest->left);
    const auto angle = ReadDecimal(rest->right);
    if (from && to && angle && std::isfinite(*angle)) return {*from, *to, *angle};
  }
  FailUsage("{} {}: expected two colours and degrees such as FF8000,0040FF,45", option, text);
}

double ReadSeconds(std::string_view option, std::string_view text, Least least) {
  const auto seconds = ReadDecimal(text);
  const bool isEnough = seconds && (least == Least::kZero ? *seconds >= 0 : *seconds > 0);
  if (isEnough && *seconds <= kMostSeconds) return *seconds;
  FailUsage("{} {}: expected seconds such as 2.5, {}", option, text,
            least == Least::kZero ? "0 or more" : "more than 0");
}

int32_t ReadFrame(std::string_view option, std::string_view text) {
  const bool negative = text.starts_with('-');
  const auto digits = ReadDigits<int32_t>(negative ? text.substr(1) : text);
  if (digits) return negative ? -*digits : *digits;
  FailUsage("{} {}: expected a whole number", option, text);
}

int64_t ReadMemory(std::string_view option, std::string_view text) {
  const auto mebibytes = ReadDigits<int64_t>(text);
  if (mebibytes && *mebibytes <= kMostMemory) return *mebibytes << 20;
  FailUsage("{} {}: expected a number of MiB from 0 to {}", option, text, kMostMemory);
}

int32_t ReadIndex(std::string_view option, std::string_view text) {
  if (const auto index = ReadDigits<int32_t>(text)) return *index;
  FailUsage("{} {}: expected a whole number, 0 or above", option, text);
}

std::vector<std::string> ReadChain(std::string_view option, std::string_view text) {
  std::vector<std::string> names;
  for (std::string_view rest = text;;) {
    const auto halves = SplitAt(rest, ',');
    names.emplace_back(halves ? halves->left : rest);
    if (!halves) break;
    rest = halves->right;
  }
  CheckNodeNames(option, text, names);
  return names;
}

StabilizeOption ReadStabilize(std::string_view option, std::string_view text) {
  if (text == kBareValue) return {};
  const auto level = ReadDigits<int32_t>(text);
  if (level && *level <= kStabLevelMax) return {*level};
  FailUsage("{} {}: expected a level from 0 to {}", option, text, kStabLevelMax);
}

}  // namespace kiv::session
