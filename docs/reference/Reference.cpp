// Prints docs/commands.md or docs/settings-keys.md from the tables next to the declarations.
//
//   kiv_reference commands | keys
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <string>
#include <string_view>

#include "kiv/chain/CommandFacts.h"
#include "kiv/chain/NodeTypes.h"
#include "kiv/platform/KeyFacts.h"

namespace {

using kiv::facts::kCommands;
using kiv::facts::kKeyNames;
using kiv::facts::kKeys;

constexpr char kCommandsHead[] = R"(# Commands

Made by `kiv_reference commands` from `kiv/chain/CommandFacts.h`; edit that, not this.

A command is a number with a parameter that goes from the tail of a clip's chain towards its source, until a node answers
it: `IKivRender::ProcessCommand(id, parameter, extra)`. Most slots of the facade send one. A node that *answers* a command
ends its way; one that *acts and passes on* lets the nodes below have it too. What nobody answers succeeds at the source.

- A pointer parameter points to the sender's value and is used during the call only. A *number* is carried in the
  parameter itself, widened from 32 bits with its sign. The extra value is 0 unless the table says otherwise.
- The result is lost at the clip render: a getter's answer is what it wrote. Preset it, and an unchanged value tells that
  no node of the chain knows the command.

)";

constexpr char kSpeedRecord[] = R"(
## SpeedSettings
The record of `GetSpeedSettings` and `SetSpeedSettings` (`kiv/chain/CommandIds.h`), 44 bytes without the padding at its end.

| byte | type | field | meaning |
|---|---|---|---|
| 0 | 64-bit | `scaleNumerator` | 2/1 plays at double speed |
| 8 | 64-bit | `scaleDenominator` | |
| 16 | 32-bit | `reverse` | 1 plays backwards |
| 20 | 32-bit | `reverseStart` | first frame of the mirrored range |
| 24 | 32-bit | `reverseEnd` | its last frame |
| 28 | 12 bytes | `notInterpreted` | |
| 40 | 32-bit | `interpolationMode` | handed to the interpolation algorithm |

## AlphaVideoSettings
The record of `GetAlphaVideoSettings` and `SetAlphaVideoSettings`, 1104 bytes. Paths are UTF-16, terminated within their 260
units; colours are 0xRRGGBB.

| byte | type | field |
|---|---|---|
| 0 | 32-bit | 1 fills the preset with colours |
| 4 | 32-bit | 0: the single colour, else the gradient |
| 8 | 32-bit | single colour |
| 16 | double | gradient's direction, degrees |
| 24 | 32-bit | gradient's first colour |
| 28 | 32-bit | gradient's second colour |
| 32 | 32-bit | 1: the clip is a preset, 0: it passes through |
| 36 | 32-bit | 1: the preset has its mask in a file of its own |
| 40 | 520 bytes | that file's path |
| 560 | 520 bytes | path of the picture that fills the preset |
| 1080 | 32-bit | frames that go round while the preset waits, 0 holds one |
| 1088 | double | the preset's length, seconds |
| 1096 | double | where it waits, seconds; 0 repeats it as a whole |

## StabSettings
The record of `GetStabilizerSettings` and `SetStabilizerSettings` (`kiv/VideoStab/StabSettings.h`): which frames of which
stream are analysed. It holds a `std::wstring`, so it has no fixed bytes: host and component are built with the same C++
library, and a host in another language sets the same by the keys of [settings-keys.md](settings-keys.md). Two records are
equal when range, path, stream and rate are; `Enable` and `oSize` take no part.

| type | field | meaning | at first |
|---|---|---|---|
| 32-bit | `Enable` | whether frames are corrected | 0 |
| `KivRange` | `rngSource` | first and last frame of the source that are analysed | the whole clip, which has to be set |
| `std::wstring` | `wstrPath` | the file's full path | empty |
| 32-bit | `nStreamIdx` | 0 is the first video stream | -1, none |
| `KivSize` | `oSize` | pixels of the source, before any decode scale | 0 x 0 |
| `KivRational` | `ratFramerate` | frames per second of the source | 0/1 |

An analysis needs a stream, a size, a rate and both ends of the range; until then the record is kept and nothing starts.

## Nodes
The ids of `BuildChain` (`kiv/chain/NodeTypes.h`).

| id | name | class |
|---|---|---|
)";

constexpr char kKeysHead[] = R"(# Settings keys

Made by `kiv_reference keys` from `kiv/platform/KeyFacts.h`; edit that, not this.

Settings travel in property bags (`IKivProperties`): typed values under texts. The texts of the `KivKey` constants are
given here for reading stored files; programs use the constants (`kiv/platform/KeyNames.h`). A key with a suffix is the
constant's text followed by it. A node that does not find a key keeps what it has, so a bag needs only what is to change.

- Whole numbers are 32 bits, rationals two 64-bit numbers, ranges hold their first and last frame.
- A get of another type than the stored one fails and leaves the target alone.
- "host" is whoever drives the component; `kivclip` is one. Where no reader is named, nothing of this component reads it.

)";

struct BagTitle {
  KeyBag bag;
  const char* text;
};
constexpr BagTitle kBags[] = {
    {KeyBag::kSettings, "Settings: the first bag of Initialize"},
    {KeyBag::kFacts, "Stream information: the second bag of Initialize"},
    {KeyBag::kClip, "A clip: the bag of SaveSettings and LoadSettings"},
    {KeyBag::kAnalysis, "Stored stabilization data: a bag inside a clip's"},
    {KeyBag::kCodec, "Options that a file is opened with"},
    {KeyBag::kFilter, "A filter"},
    {KeyBag::kParameter, "A filter's parameter"},
    {KeyBag::kClassId, "Class ids of filters"},
};

std::string_view TextOf(std::string_view name) {
  for (const auto& key : kKeyNames) {
    if (key.name == name) return key.text;
  }
  return {};
}

// What has a "::" is the name of a constant, which must be there.
bool IsDeclared(const KeyFact& fact) {
  return fact.name.find("::") == std::string_view::npos || !TextOf(fact.name).empty();
}

bool HasRow(std::string_view name) {
  for (const KeyFact& fact : kKeys) {
    if (fact.name == name) return true;
  }
  return false;
}

// Complains about each constant without a row, and each row without a constant.
bool KeysAreComplete() {
  bool complete = true;
  for (const auto& key : kKeyNames) {
    if (HasRow(key.name)) continue;
    std::fprintf(stderr, "KivKey::%s has no row in kiv/platform/KeyFacts.h\n", key.name.data());
    complete = false;
  }
  for (const KeyFact& fact : kKeys) {
    if (IsDeclared(fact)) continue;
    std::fprintf(stderr, "KeyFacts.h has a row for KivKey::%s, which is not declared\n",
                 fact.name.data());
    complete = false;
  }
  return complete;
}

std::string Code(std::string_view text) {
  return text.empty() ? std::string() : "`" + std::string(text) + "`";
}

void Row(std::initializer_list<std::string> cells) {
  std::string line = "|";
  for (const std::string& cell : cells) line += " " + cell + (cell.empty() ? "|" : " |");
  std::puts(line.c_str());
}

std::string Id(CommandId id) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%X", static_cast<unsigned>(id));
  return text;
}

void PrintCommands() {
  std::fputs(kCommandsHead, stdout);
  Row({"id", "name", "parameter", "unit", "sent by", "answered by", "acted on and passed on by"});
  Row({"---", "---", "---", "---", "---", "---", "---"});
  for (size_t i = 0; i < std::size(kCommands); ++i) {
    const CommandFact& fact = kCommands[i];
    Row({Code(Id(fact.id)), Code(kCommandTable[i].name), Code(fact.parameter), fact.unit,
         fact.sender, fact.stops, fact.passes});
  }
  std::fputs("\n## What they do\n", stdout);
  for (size_t i = 0; i < std::size(kCommands); ++i) {
    std::printf("- `%s` (%s): %s\n", kCommandTable[i].name, Id(kCommands[i].id).c_str(),
                kCommands[i].meaning);
  }
  std::fputs(kSpeedRecord, stdout);
#define KIV_NODE_ROW(id, name, className) Row({#id, Code("NodeType::k" #name), Code(#className)});
  KIV_NODE_TYPES(KIV_NODE_ROW)
#undef KIV_NODE_ROW
}

void PrintKey(const KeyFact& fact) {
  const std::string_view text = TextOf(fact.name);
  std::string name = text.empty() ? std::string() : Code("KivKey::" + std::string(fact.name));
  if (!name.empty() && !fact.suffix.empty()) name += ", " + Code(fact.suffix);
  const std::string whole = std::string(text.empty() ? fact.name : text) + std::string(fact.suffix);
  const auto cell = [](std::string_view content) { return std::string(content); };
  Row({Code(whole), name, cell(fact.type), cell(fact.unit), cell(fact.writers), cell(fact.readers),
       cell(fact.meaning)});
}

void PrintKeys() {
  std::fputs(kKeysHead, stdout);
  for (const BagTitle& title : kBags) {
    std::printf("## %s\n\n", title.text);
    Row({"text", "constant", "type", "unit", "written by", "read by", "meaning"});
    Row({"---", "---", "---", "---", "---", "---", "---"});
    for (const KeyFact& fact : kKeys) {
      if (fact.bag == title.bag) PrintKey(fact);
    }
    std::puts("");
  }
}

// Name|who answers|who passes on, a command a line: what check.sh holds against the nodes' rows.
void PrintRoutes() {
  for (size_t i = 0; i < std::size(kCommands); ++i) {
    std::printf("%s|%s|%s\n", kCommandTable[i].name, kCommands[i].stops, kCommands[i].passes);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc == 2 ? argv[1] : "";
  if (!KeysAreComplete()) return 1;
  if (what == "commands") return PrintCommands(), 0;
  if (what == "keys") return PrintKeys(), 0;
  if (what == "routes") return PrintRoutes(), 0;
  std::fputs("usage: kiv_reference commands | keys | routes\n", stderr);
  return 2;
}
