#include "kiv/component/Registration.h"

#include <cwchar>

#include "kiv/component/ClassTable.h"
#include "kiv/component/EntryPoints.h"
#include "kiv/platform/OsServices.h"
#include "kiv/platform/Registry.h"

namespace {

constexpr int32_t kTextCapacity = static_cast<int32_t>(kMaxRegisteredPath) + 1;
constexpr wchar_t kComponentName[] = L"KivCommon Component";
constexpr wchar_t kServerKey[] = L"InprocServer32";
constexpr wchar_t kThreadingModel[] = L"ThreadingModel";
constexpr wchar_t kThreadingValue[] = L"Both";

// A registry text of bounded length: what does not fit is cut.
class BoundedText {
 public:
  explicit BoundedText(const wchar_t* text) {
    StringCchPrintfW(text_, kTextCapacity, L"%ls", text);
  }
  const wchar_t* Get() const { return text_; }
  uint32_t ByteCount() const {
    return static_cast<uint32_t>((std::wcslen(text_) + 1) * sizeof(wchar_t));
  }

 private:
  wchar_t text_[kTextCapacity] = {};
};

// Owns:     one open key, closed at the end of the scope.
class OpenKey {
 public:
  OpenKey() = default;
  ~OpenKey() {
    if (key_) RegCloseKey(key_);
  }
  OpenKey(const OpenKey&) = delete;
  OpenKey& operator=(const OpenKey&) = delete;

  HKEY Get() const { return key_; }
  HKEY* Put() { return &key_; }

 private:
  HKEY key_ = nullptr;
};

std::wstring ClassKeyPath(const ClassEntry& entry) {
  wchar_t guidText[kGuidTextCapacity] = {};
  if (!StringFromGUID2(*entry.classId, guidText, kGuidTextCapacity)) return {};
  return std::wstring(L"CLSID\\") + guidText;
}

bool SetDefault(HKEY key, const wchar_t* value) {
  const BoundedText text(value);
  return RegSetValueW(key, nullptr, REG_SZ, text.Get(), text.ByteCount()) == ERROR_SUCCESS;
}

void RegisterClass(const ClassEntry& entry, const wchar_t* modulePath) {
  const BoundedText path(ClassKeyPath(entry).c_str());
  OpenKey classKey;
  if (RegCreateKeyW(HKEY_CLASSES_ROOT, path.Get(), classKey.Put()) != ERROR_SUCCESS) return;
  if (!SetDefault(classKey.Get(), kComponentName)) return;
  OpenKey server;
  if (RegCreateKeyW(classKey.Get(), kServerKey, server.Put()) != ERROR_SUCCESS) return;
  if (!SetDefault(server.Get(), modulePath)) return;
  const BoundedText model(kThreadingValue);
  RegSetValueExW(server.Get(), kThreadingModel, 0, REG_SZ, model.Get(), model.ByteCount());
}

void DeleteKeyTree(HKEY parent, const wchar_t* name) {
  {
    OpenKey key;
    if (RegOpenKeyExW(parent, name, 0, MAXIMUM_ALLOWED, key.Put()) != ERROR_SUCCESS) return;
    std::wstring previous;
    for (;;) {
      wchar_t child[kTextCapacity] = {};
      uint32_t length = kTextCapacity;
      if (RegEnumKeyExW(key.Get(), 0, child, &length) != ERROR_SUCCESS) break;
      // A child that is still first after its deletion cannot be deleted.
      if (!child[0] || previous == child) break;
      DeleteKeyTree(key.Get(), child);
      previous = child;
    }
  }
  RegDeleteKeyW(parent, name);
}

}  // namespace

HRESULT RegisterComponent(const std::wstring& modulePath) {
  // A path that is cut names another file.
  if (modulePath.size() > kMaxRegisteredPath) return E_INVALIDARG;
  for (const ClassEntry& entry : ComponentClasses()) RegisterClass(entry, modulePath.c_str());
  return S_OK;
}

void UnregisterComponent() {
  const std::wstring path = ClassKeyPath(ComponentClasses().front());
  if (!path.empty()) DeleteKeyTree(HKEY_CLASSES_ROOT, path.c_str());
}
