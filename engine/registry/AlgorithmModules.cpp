#include "engine/registry/AlgorithmModules.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>
#include <new>
#include <utility>

#include "engine/base/Boundary.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/platform/Logger.h"

namespace kiv {
namespace {

constexpr char kFolderVariable[] = "KIV_MODULE_FOLDER";

struct ModuleFile {
  const wchar_t* name;
  const char* file;
};
constexpr ModuleFile kModuleFiles[] = {{kTweenModuleName, "libkiv_tween.so"}};

std::filesystem::path ModuleFolder() {
  if (const char* const folder = secure_getenv(kFolderVariable)) return folder;
  Dl_info here{};
  if (dladdr(reinterpret_cast<const void*>(&CreateAlgorithmFactory), &here) == 0) return {};
  return std::filesystem::path(here.dli_fname).parent_path();
}

std::string LoaderMessage() {
  const char* const text = dlerror();
  return text ? text : "no reason given";
}

class Factory final : public CVAlgorithmCreater {
 public:
  CVAlgorithm* CreateCVAlgorithm(LUMOCV_ALGORITHM_NAME name, const wchar_t* moduleName) override {
    if (!moduleName) return nullptr;
    CVAlgorithm* made = nullptr;
    AtBoundary([&] {
      const CVAlgorithmEntry entry = AlgorithmModules::Shared().Find(moduleName);
      if (entry) made = entry(name);
      return S_OK;
    });
    return made;
  }
};

}  // namespace

AlgorithmModules::AlgorithmModules() : rows_(FirstRows()) {}

AlgorithmModules& AlgorithmModules::Shared() {
  static AlgorithmModules shared;
  return shared;
}

std::map<std::wstring, AlgorithmModules::Row> AlgorithmModules::FirstRows() {
  std::map<std::wstring, Row> rows;
  for (const ModuleFile& module : kModuleFiles) {
    rows[module.name].path = (ModuleFolder() / module.file).string();
  }
  return rows;
}

CVAlgorithmEntry AlgorithmModules::Find(const std::wstring& name, std::string* why) {
  const MutexLock hold(lock_);
  const auto found = rows_.find(name);
  if (found == rows_.end()) {
    if (why) *why = "there is no module of this name";
    return nullptr;
  }
  Row& row = found->second;
  if (!row.path.empty()) Load(name, &row);
  if (why) *why = row.why;
  return row.entry;
}

void AlgorithmModules::Load(const std::wstring& name, Row* row) {
  const std::string path = std::exchange(row->path, {});
  std::error_code ignored;
  if (!std::filesystem::is_regular_file(path, ignored)) {
    row->why = fmt::format("there is no file '{}'", path);
  } else if (void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL); !library) {
    row->why = fmt::format("the file '{}' is no module: {}", path, LoaderMessage());
  } else {
    row->entry = reinterpret_cast<CVAlgorithmEntry>(dlsym(library, kCVAlgorithmEntryName));
    if (row->entry) return;
    row->why = fmt::format("the module '{}' has no entry {}", path, kCVAlgorithmEntryName);
  }
  KIV_LOG(LogLevel::kCreation, L"No algorithm module %ls: %ls", name.c_str(),
          KivCommon::Char2WChar(row->why.c_str()).c_str());
}

void AlgorithmModules::Put(const std::wstring& name, Row row) {
  const MutexLock hold(lock_);
  rows_[name] = std::move(row);
}

void AlgorithmModules::SetFile(const std::wstring& name, const std::string& path) {
  Put(name, {path, nullptr, {}});
}

void AlgorithmModules::SetEntry(const std::wstring& name, CVAlgorithmEntry entry) {
  Put(name, {{}, entry, {}});
}

void AlgorithmModules::Withdraw(const std::wstring& name) {
  Put(name, {{}, nullptr, "the module was withdrawn"});
}

void AlgorithmModules::Restore() {
  auto rows = FirstRows();
  const MutexLock hold(lock_);
  rows_ = std::move(rows);
}

}  // namespace kiv

CVAlgorithmCreater* CreateAlgorithmFactory() { return new (std::nothrow) kiv::Factory; }

void DestoryAlgorithmFactory(CVAlgorithmCreater* factory) {
  delete static_cast<kiv::Factory*>(factory);
}

int XDictionary::SetKeyValue(int key, XTuple value) {
  constexpr int kNoMemory = 12;
  const HRESULT hr = kiv::AtBoundary([&] {
    values_.insert_or_assign(key, value);
    return S_OK;
  });
  return Failed(hr) ? kNoMemory : 0;
}

const void* XDictionary::Find(int key) const {
  const auto found = values_.find(key);
  return found == values_.end() ? nullptr : found->second.Pointer();
}
