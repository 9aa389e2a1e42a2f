// The options of the session library under the names that people type: one row for each field of
// ClipOptions and ExportPlan. A front end makes its own options of the rows, so that every one has the
// same names, reads the same values and refuses in the same words.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "session/Api.h"
#include "session/ClipOptions.h"
#include "session/Export.h"

namespace kiv::session {

// What an option is about, for front ends that show groups. Rows of one group stand together.
enum class OptionGroup {
  kTime,
  kPictures,
  kDirection,
  kCrop,
  kAlpha,
  kSteadiness,
  kChain,
  kSpan,    // which frames are written
  kFormat,  // as what they are written
  kFrontEnd,
};

// The text of a switch, and of an option whose value may be left out.
constexpr const char* kBareValue = "on";

// What a front end shows of an option.
struct OptionFacts {
  const char* name;      // "reverse-range"
  const char* argument;  // what the value is called; null for a switch, which is on or off
  const char* help;
  OptionGroup group;
  // Where a settings file keeps the text of the value. Null: nowhere, or under the keys of a node.
  const char* settingsKey = nullptr;
  const char* bareValue = nullptr;  // not null: the value may be left out and is this one then
  bool isKeptAsPath = false;        // the kept text names a file from any folder
};

// `option` is what the message calls the option when it refuses the text.
template <typename Target>
using OptionReader = void (*)(std::string_view option, std::string_view text, Target* target);

template <typename Target>
struct OptionRow {
  OptionFacts facts;
  OptionReader<Target> read;
};

KIV_SESSION_API std::span<const OptionRow<ClipOptions>> ClipOptionTable();
KIV_SESSION_API std::span<const OptionRow<ExportPlan>> ExportOptionTable();

// Messages call every option so: "--reverse-range".
KIV_SESSION_API std::string SpelledOut(const OptionFacts& option);

// Sets the option called `name`; "reverse_range" is "reverse-range", for languages whose names have no
// hyphens. A switch takes "on" and "off".
// Errors:   SessionError of the kind kInvalidArgument for a name that no row has, naming the nearest
//           one, and for a text that is no value of the option.
KIV_SESSION_API void ApplyOption(ClipOptions* options, std::string_view name,
                                 std::string_view text);
KIV_SESSION_API void ApplyOption(ExportPlan* plan, std::string_view name, std::string_view text);

// Refuses options that exclude or need each other. Clip::Open does it too; a front end asks when it
// wants to know before it touches a file.
// Errors:   SessionError of the kind kInvalidArgument.
KIV_SESSION_API void CheckOptions(const ClipOptions& options);

}  // namespace kiv::session
