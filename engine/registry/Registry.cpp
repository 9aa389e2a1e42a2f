#include "kiv/platform/Registry.h"

#include <cerrno>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include "engine/base/TextFile.h"
#include "engine/registry/RegistryFile.h"
#include "kiv/base/Mutex.h"

namespace {

using kiv::RegistryNode;
using kiv::RegistryPathNames;

constexpr uintptr_t kRootNumber = 1;
constexpr size_t kMaxNameLength = 255;
constexpr size_t kMaxTextLength = 32767;

HKEY HandleOf(uintptr_t number) {
  // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is a number in a pointer's clothes
  return reinterpret_cast<HKEY>(number);
}

// Open keys by number. A handle is never dereferenced, so one that was closed or made up is refused.
//
// Threads:  any.
class OpenKeys {
 public:
  HKEY Add(RegistryPathNames path) {
    const kiv::MutexLock guard(lock_);
    paths_.emplace(++last_, std::move(path));
    return HandleOf(last_);
  }
  std::optional<RegistryPathNames> Find(HKEY key) {
    const auto number = reinterpret_cast<uintptr_t>(key);
    if (number == kRootNumber) return RegistryPathNames{};
    const kiv::MutexLock guard(lock_);
    const auto place = paths_.find(number);
    if (place == paths_.end()) return std::nullopt;
    return place->second;
  }
  bool Remove(HKEY key) {
    const kiv::MutexLock guard(lock_);
    return paths_.erase(reinterpret_cast<uintptr_t>(key)) > 0;
  }

 private:
  kiv::Mutex lock_;  // innermost
  std::map<uintptr_t, RegistryPathNames> paths_ KIV_GUARDED_BY(lock_);
  uintptr_t last_ KIV_GUARDED_BY(lock_) = kRootNumber;
};

OpenKeys& GetOpenKeys() {
  static OpenKeys* const keys = new OpenKeys;  // never destroyed: closed as late as anybody likes
  return *keys;
}

template <typename Operation>
int32_t WithoutExceptions(Operation&& operation) {
  try {
    return operation();
  } catch (...) {
    return ERROR_ACCESS_DENIED;
  }
}

// Appends the names of `text`; false for a name that is empty or too long and for too deep a path.
bool AppendNames(const wchar_t* text, RegistryPathNames* path) {
  std::wstring_view rest = text ? text : L"";
  while (!rest.empty()) {
    const size_t mark = rest.find(L'\\');
    const std::wstring_view name = rest.substr(0, mark);
    if (name.empty() || name.size() > kMaxNameLength) return false;
    path->emplace_back(name);
    if (mark == std::wstring_view::npos) break;
    rest.remove_prefix(mark + 1);
    if (rest.empty()) return false;
  }
  return path->size() <= kiv::kMaxRegistryDepth;
}

// A key named by an open one and a path below it.
struct Target {
  RegistryPathNames parent;
  RegistryPathNames below;

  RegistryPathNames Whole() const {
    RegistryPathNames whole = parent;
    whole.insert(whole.end(), below.begin(), below.end());
    return whole;
  }
};

std::optional<Target> FindTarget(HKEY parent, const wchar_t* path) {
  std::optional<RegistryPathNames> names = GetOpenKeys().Find(parent);
  if (!names) return std::nullopt;
  Target target{*names, {}};
  if (!AppendNames(path, &target.below)) return std::nullopt;
  if (target.parent.size() + target.below.size() > kiv::kMaxRegistryDepth) return std::nullopt;
  return target;
}

// Reads the file, lets `change` work on it and writes it when that set `changed`; no other writer
// comes between.
template <typename Change>
int32_t ChangeRegistry(Change&& change) {
  const std::string path = kiv::RegistryPath();
  const auto refuse = [](const std::string& why) {
    kiv::NoteRegistryFailure("written", why);
    return ERROR_ACCESS_DENIED;
  };
  if (path.empty()) return refuse("there is no home folder for it");
  const kiv::FileLock lock(path);
  if (!lock.held()) {
    return refuse(lock.error() == EWOULDBLOCK ? "another process keeps it locked"
                                              : std::generic_category().message(lock.error()));
  }
  RegistryNode root;
  if (const int32_t result = kiv::LoadRegistry(&root)) return result;
  bool changed = false;
  if (const int32_t result = change(&root, &changed)) return result;
  return changed ? kiv::SaveRegistry(root) : ERROR_SUCCESS;
}

// Hands the node of `path` to `use`.
template <typename Use>
int32_t ReadKey(const RegistryPathNames& path, Use&& use) {
  RegistryNode root;
  if (const int32_t result = kiv::LoadRegistry(&root)) return result;
  RegistryNode* const node = root.Find(path);
  return node ? use(*node) : ERROR_FILE_NOT_FOUND;
}

int32_t SetText(const Target& target, const wchar_t* name, const std::wstring& text) {
  const std::wstring_view valueName = name ? name : L"";
  if (valueName.size() > kMaxNameLength || text.size() > kMaxTextLength) {
    return ERROR_INVALID_PARAMETER;
  }
  return ChangeRegistry([&](RegistryNode* root, bool* changed) {
    RegistryNode* const parent = root->Find(target.parent);
    if (!parent) return ERROR_FILE_NOT_FOUND;
    parent->Make(target.below, changed)->SetValue(valueName, text);
    *changed = true;
    return ERROR_SUCCESS;
  });
}

// Texts in a buffer of bytes end at the terminator or where the buffer does.
std::wstring TextOf(const void* data, uint32_t byteCount) {
  const std::wstring_view text(static_cast<const wchar_t*>(data), byteCount / sizeof(wchar_t));
  return std::wstring(text.substr(0, text.find(L'\0')));
}

int32_t CopyText(const std::wstring& text, wchar_t* buffer, uint32_t* byteCount) {
  const auto needed = static_cast<uint32_t>((text.size() + 1) * sizeof(wchar_t));
  const uint32_t capacity = std::exchange(*byteCount, needed);
  if (!buffer) return ERROR_SUCCESS;
  if (capacity < needed) return ERROR_MORE_DATA;
  buffer[text.copy(buffer, text.size())] = 0;
  return ERROR_SUCCESS;
}

}  // namespace

HKEY KivRegistryRoot() { return HandleOf(kRootNumber); }

int32_t RegCreateKeyW(HKEY parent, const wchar_t* path, HKEY* result) {
  if (!result) return ERROR_INVALID_PARAMETER;
  return WithoutExceptions([&] {
    const std::optional<Target> target = FindTarget(parent, path);
    if (!target) return ERROR_INVALID_PARAMETER;
    const int32_t made = ChangeRegistry([&](RegistryNode* root, bool* changed) {
      RegistryNode* const node = root->Find(target->parent);
      if (!node) return ERROR_FILE_NOT_FOUND;
      node->Make(target->below, changed);
      return ERROR_SUCCESS;
    });
    if (made == ERROR_SUCCESS) *result = GetOpenKeys().Add(target->Whole());
    return made;
  });
}

int32_t RegOpenKeyExW(HKEY parent, const wchar_t* path, uint32_t, uint32_t, HKEY* result) {
  if (!result) return ERROR_INVALID_PARAMETER;
  return WithoutExceptions([&] {
    const std::optional<Target> target = FindTarget(parent, path);
    if (!target) return ERROR_INVALID_PARAMETER;
    return ReadKey(target->Whole(), [&](RegistryNode&) {
      *result = GetOpenKeys().Add(target->Whole());
      return ERROR_SUCCESS;
    });
  });
}

int32_t RegSetValueW(HKEY parent, const wchar_t* path, uint32_t type, const wchar_t* text,
                     uint32_t) {
  if (type != REG_SZ || !text) return ERROR_INVALID_PARAMETER;
  return WithoutExceptions([&] {
    const std::optional<Target> target = FindTarget(parent, path);
    return target ? SetText(*target, L"", text) : ERROR_INVALID_PARAMETER;
  });
}

int32_t RegSetValueExW(HKEY key, const wchar_t* name, uint32_t, uint32_t type, const void* data,
                       uint32_t byteCount) {
  if (type != REG_SZ || (!data && byteCount > 0)) return ERROR_INVALID_PARAMETER;
  return WithoutExceptions([&] {
    const std::optional<Target> target = FindTarget(key, nullptr);
    return target ? SetText(*target, name, TextOf(data, byteCount)) : ERROR_INVALID_PARAMETER;
  });
}

int32_t RegQueryValueExW(HKEY key, const wchar_t* name, wchar_t* buffer, uint32_t* byteCount) {
  if (!byteCount) return ERROR_INVALID_PARAMETER;
  return WithoutExceptions([&] {
    const std::optional<Target> target = FindTarget(key, nullptr);
    if (!target) return ERROR_INVALID_PARAMETER;
    return ReadKey(target->parent, [&](RegistryNode& node) {
      const std::wstring* const text = node.FindValue(name ? name : L"");
      return text ? CopyText(*text, buffer, byteCount) : ERROR_FILE_NOT_FOUND;
    });
  });
}

int32_t RegEnumKeyExW(HKEY key, uint32_t index, wchar_t* name, uint32_t* length) {
  if (!name || !length) return ERROR_INVALID_PARAMETER;
  return WithoutExceptions([&] {
    const std::optional<Target> target = FindTarget(key, nullptr);
    if (!target) return ERROR_INVALID_PARAMETER;
    return ReadKey(target->parent, [&](RegistryNode& node) {
      if (index >= node.keys.size()) return ERROR_NO_MORE_ITEMS;
      const std::wstring& found = node.keys[index].name;
      if (*length <= found.size()) return ERROR_MORE_DATA;
      *length = static_cast<uint32_t>(found.copy(name, found.size()));
      name[*length] = 0;
      return ERROR_SUCCESS;
    });
  });
}

int32_t RegDeleteKeyW(HKEY parent, const wchar_t* path) {
  return WithoutExceptions([&] {
    const std::optional<Target> target = FindTarget(parent, path);
    if (!target || target->below.empty()) return ERROR_INVALID_PARAMETER;
    return ChangeRegistry([&](RegistryNode* root, bool* changed) {
      RegistryPathNames above = target->Whole();
      const std::wstring name = above.back();
      above.pop_back();
      RegistryNode* const node = root->Find(above);
      const RegistryNode* const doomed = node ? node->FindKey(name) : nullptr;
      if (!doomed) return ERROR_FILE_NOT_FOUND;
      if (!doomed->keys.empty()) return ERROR_ACCESS_DENIED;
      node->RemoveKey(name);
      *changed = true;
      return ERROR_SUCCESS;
    });
  });
}

int32_t RegCloseKey(HKEY key) {
  if (key == KivRegistryRoot()) return ERROR_SUCCESS;
  return GetOpenKeys().Remove(key) ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER;
}
