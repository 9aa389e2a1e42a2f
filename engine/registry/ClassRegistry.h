// Which function makes an object of which class. Classes come and go at run time.
//
// Owns:     the creation functions; none of the objects they make.
// Threads:  any. Creation functions run outside the lock, so they may come back here.
// Locks:    one, innermost.
// Errors:   an unknown class gives CLASS_E_CLASSNOTAVAILABLE; what a creation function throws
//           becomes a result code.
#pragma once

#include <functional>
#include <map>

#include "kiv/base/Mutex.h"
#include "kiv/values/Unknown.h"

namespace kiv {

// Makes an object and hands out its interface `iid` with one reference.
using CreateFunction = std::function<HRESULT(IUnknown* outer, const GUID& iid, void** object)>;

class KIV_ENGINE_API ClassRegistry {
 public:
  // The process's registry, holding the built-in classes from its first use on.
  static ClassRegistry& Shared();

  // S_FALSE, with nothing changed, when the class is known already.
  HRESULT Add(const GUID& classId, const CreateFunction& create);
  // Returns what stood there before; empty when the class is new.
  CreateFunction Replace(const GUID& classId, CreateFunction create);
  // Returns what was withdrawn; empty when the class was not known.
  CreateFunction Withdraw(const GUID& classId);

  // `*object` is null on failure.
  HRESULT Create(const GUID& classId, IUnknown* outer, const GUID& iid, void** object) const;

 private:
  CreateFunction Find(const GUID& classId) const;

  mutable Mutex lock_;
  std::map<GUID, CreateFunction> classes_ KIV_GUARDED_BY(lock_);
};

// Enters every class that the engine brings along: the table is in engine/Classes.cpp.
void RegisterBuiltInClasses(ClassRegistry& registry);

// Puts another creation function, or none, in a class's place for as long as it lives.
class KIV_ENGINE_API ScopedClass {
 public:
  ScopedClass(const GUID& classId, CreateFunction create);
  ~ScopedClass();
  ScopedClass(const ScopedClass&) = delete;
  ScopedClass& operator=(const ScopedClass&) = delete;

 private:
  GUID classId_;
  CreateFunction previous_;
};

}  // namespace kiv
