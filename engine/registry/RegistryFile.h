// The registry's keys and values in memory, and the file they are kept in.
//
// Threads:  none of its own; whoever changes the file holds a FileLock on RegistryPath().
// Errors:   the codes of kiv/platform/Registry.h. A damaged file is refused and left as it is.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kiv/values/Export.h"

namespace kiv {

// Keys below the root that a path can name.
constexpr size_t kMaxRegistryDepth = 32;

using RegistryPathNames = std::vector<std::wstring>;

struct RegistryNode {
  std::wstring name;
  std::vector<RegistryNode> keys;
  std::vector<std::pair<std::wstring, std::wstring>> values;  // name and text; "" is the default

  // Letter case of ASCII letters is ignored by all of these. Null when there is no such entry.
  RegistryNode* FindKey(std::wstring_view keyName);
  RegistryNode* Find(const RegistryPathNames& path);
  const std::wstring* FindValue(std::wstring_view valueName) const;

  // The node of `path`, made with those above it when missing; `made` is set when one was.
  RegistryNode* Make(const RegistryPathNames& path, bool* made);
  void SetValue(std::wstring_view valueName, std::wstring text);
  void RemoveKey(std::wstring_view keyName);
};

bool SameIgnoringCase(std::wstring_view a, std::wstring_view b);

// Empty when the environment names no place.
KIV_ENGINE_API std::string RegistryPath();
// Why the last of this thread's operations on the file failed, as a sentence without an end; empty
// when none did since it was last taken. The codes tell no reasons.
KIV_ENGINE_API std::string TakeRegistryFailure();
void NoteRegistryFailure(const char* what, const std::string& why);

// A file that does not exist is an empty registry.
int32_t LoadRegistry(RegistryNode* root);
int32_t SaveRegistry(const RegistryNode& root);

}  // namespace kiv
