// Finds the component's library and makes its one class.
//
// Owns:     the loaded library, for the life of the process.
// Threads:  any.
// Errors:   SessionError naming the library and the reason.
#pragma once

#include <string>

#include "kiv/component/IKivVideoStreamProcess.h"
#include "kiv/platform/KivComPtr.h"

namespace kiv::session {

class ComponentLoader {
 public:
  // The library entered in the registry under the component's class id; when there is none or it
  // does not load, our own.
  static ComponentLoader ByClassId();
  // The one that came with this program: beside it, or in the library folder it was built or
  // installed with. For programs from elsewhere, the one beside this library.
  static ComponentLoader Own();

  KivComPtr<IKivVideoStreamProcessInternal> CreateProcess() const;
  void Register() const;
  void Unregister() const;
  const std::string& Path() const { return path_; }

 private:
  ComponentLoader(void* library, std::string path) : library_(library), path_(std::move(path)) {}
  static ComponentLoader TryPath(const std::string& path, std::string* reason);
  // SessionError with what the registry said of `verb`, if it said anything.
  void CheckRegistry(const char* verb) const;
  template <typename Function>
  Function Entry(const char* name) const;

  void* library_;
  std::string path_;
};

}  // namespace kiv::session
