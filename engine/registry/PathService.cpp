#include "engine/registry/PathService.h"

#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <string_view>

#include "engine/base/Boundary.h"
#include "engine/base/CountedObject.h"
#include "kiv/base/Mutex.h"
#include "kiv/platform/KivCommon.h"

namespace kiv {
namespace {

constexpr std::wstring_view kMediaScheme = L"media://";

struct Settings {
  Mutex lock;  // innermost
  std::wstring mediaRoot KIV_GUARDED_BY(lock);
  std::map<std::wstring, std::wstring> named KIV_GUARDED_BY(lock);
};

Settings& TheSettings() {
  static Settings* const settings = new Settings;  // translations may come from late threads
  return *settings;
}

bool Exists(const std::wstring& path) {
  struct stat status;
  return stat(KivCommon::WChar2Char(path.c_str()).c_str(), &status) == 0;
}

// Names only, as written: a link inside the root may lead where its maker wants it to.
bool LeavesRoot(std::wstring_view path) {
  int depth = 0;
  while (!path.empty()) {
    const size_t end = std::min(path.find(L'/'), path.size());
    const std::wstring_view name = path.substr(0, end);
    path.remove_prefix(std::min(end + 1, path.size()));
    if (name.empty() || name == L".") continue;
    depth += name == L".." ? -1 : 1;
    if (depth < 0) return true;
  }
  return false;
}

std::wstring UnderRoot(const std::wstring& path) {
  Settings& settings = TheSettings();
  const MutexLock hold(settings.lock);
  return settings.mediaRoot.empty() ? std::wstring() : settings.mediaRoot + L"/" + path;
}

std::wstring TranslateMedia(const std::wstring& path) {
  std::wstring underRoot = UnderRoot(path);
  const bool asGiven = underRoot.empty() || (!Exists(underRoot) && Exists(path));
  return asGiven ? path : underRoot;
}

std::wstring TranslatePlain(const std::wstring& path) {
  if (Exists(path) || LeavesRoot(path)) return path;
  std::wstring underRoot = UnderRoot(path);
  return !underRoot.empty() && Exists(underRoot) ? underRoot : path;
}

// A path that is cut names another file, which may exist.
HRESULT CopyText(const std::wstring& text, wchar_t* buffer, int32_t capacity) {
  if (!buffer) return E_POINTER;
  if (capacity < 1) return E_INVALIDARG;
  if (text.size() >= static_cast<size_t>(capacity)) return E_INSUFFICIENT_BUFFER;
  std::copy_n(text.c_str(), text.size() + 1, buffer);
  return S_OK;
}

class CPathService final : public CountedObject<IKivPathService> {
 public:
  HRESULT GetNamedValue(const wchar_t* name, wchar_t* buffer, int32_t capacity) override {
    if (!name) return E_INVALIDARG;
    return AtBoundary([&] {
      Settings& settings = TheSettings();
      const MutexLock hold(settings.lock);
      const auto found = settings.named.find(name);
      return found == settings.named.end() ? E_NOTFOUND : CopyText(found->second, buffer, capacity);
    });
  }

  HRESULT TranslateLocation(const wchar_t* location, wchar_t* buffer, int32_t capacity) override {
    if (!location) return E_INVALIDARG;
    return AtBoundary([&] {
      std::wstring path;
      const HRESULT hr = kiv::TranslateLocation(location, &path);
      return Failed(hr) ? hr : CopyText(path, buffer, capacity);
    });
  }
};

}  // namespace

void SetMediaRoot(const std::wstring& folder) {
  Settings& settings = TheSettings();
  const MutexLock hold(settings.lock);
  settings.mediaRoot = folder;
}

void SetNamedValue(const std::wstring& name, const std::wstring& text) {
  Settings& settings = TheSettings();
  const MutexLock hold(settings.lock);
  settings.named[name] = text;
}

void ClearNamedValue(const std::wstring& name) {
  Settings& settings = TheSettings();
  const MutexLock hold(settings.lock);
  settings.named.erase(name);
}

HRESULT TranslateLocation(const std::wstring& location, std::wstring* path) {
  const bool isMedia = location.starts_with(kMediaScheme);
  const std::wstring rest = isMedia ? location.substr(kMediaScheme.size()) : location;
  const bool isRelative =
      !rest.empty() && rest.front() != L'/' && rest.find(L"://") == std::wstring::npos;
  if (!isRelative) {
    *path = rest;
  } else if (!isMedia) {
    *path = TranslatePlain(rest);
  } else if (LeavesRoot(rest)) {
    return E_INVALIDARG;
  } else {
    *path = TranslateMedia(rest);
  }
  return S_OK;
}

HRESULT CreatePathServiceObject(IUnknown* outer, const GUID& iid, void** object) {
  return CreateObject<CPathService>(outer, iid, object);
}

}  // namespace kiv
