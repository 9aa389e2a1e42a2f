// The algorithm factory's table: which module each name stands for.
//
// Owns:     nothing; a module that was loaded stays for the life of the process.
// Threads:  any.
// Locks:    one, held while a module is loaded; only the logger's is taken under it.
// Errors:   a module that is missing, is no module or lacks its entry is logged once; asking again
//           answers the same without looking.
#pragma once

#include <map>
#include <string>

#include "kiv/base/Mutex.h"
#include "kiv/platform/Algorithms.h"

namespace kiv {

class KIV_ENGINE_API AlgorithmModules {
 public:
  // The process's table. At first every module is a library beside this one, or in the folder that
  // the environment variable KIV_MODULE_FOLDER names.
  static AlgorithmModules& Shared();

  // The module's entry; loads it when it is asked for the first time. Null, with the reason in `why`
  // (may be null), when there is none.
  CVAlgorithmEntry Find(const std::wstring& name, std::string* why = nullptr);

  // From now on the name stands for this file, for this function, or for nothing.
  void SetFile(const std::wstring& name, const std::string& path);
  void SetEntry(const std::wstring& name, CVAlgorithmEntry entry);
  void Withdraw(const std::wstring& name);
  // Back to what the table held at first.
  void Restore();

 private:
  struct Row {
    std::string path;  // empty: not to be loaded
    CVAlgorithmEntry entry = nullptr;
    std::string why;
  };

  AlgorithmModules();
  static std::map<std::wstring, Row> FirstRows();
  void Put(const std::wstring& name, Row row);
  static void Load(const std::wstring& name, Row* row);

  Mutex lock_;
  std::map<std::wstring, Row> rows_ KIV_GUARDED_BY(lock_);
};

}  // namespace kiv
