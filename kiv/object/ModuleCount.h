// How many objects and server locks of this module are alive: it may be unloaded at 0 and 0.
//
// Threads:  any.
#pragma once

#include <cstdint>

namespace scombase {

// One member or base of every object that keeps the module loaded.
class ModuleObject {
 public:
  ModuleObject();
  ~ModuleObject();
  ModuleObject(const ModuleObject&) = delete;
  ModuleObject& operator=(const ModuleObject&) = delete;
};

int32_t LiveObjects();
void LockModule();
// False when nothing was locked; the count never falls below 0.
bool UnlockModule();
bool CanUnloadModule();

}  // namespace scombase
