// Makes objects of one class for hosts.
#pragma once

#include <atomic>
#include <cstdint>

#include "kiv/component/ClassTable.h"
#include "kiv/object/ModuleCount.h"

// Owns:     itself, by its count, which starts at 1; keeps the module loaded while it lives.
// Threads:  any.
// Errors:   on failure the out slot holds null and nothing is left alive.
class CFactory final : public IClassFactory {
 public:
  // `entry` outlives the object.
  explicit CFactory(const ClassEntry& entry) : entry_(entry) {}

  HRESULT QueryInterface(const GUID& iid, void** object) override;
  uint32_t AddRef() override;
  uint32_t Release() override;
  // An outer unknown may ask for IUnknown only.
  HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** object) override;
  // Locks and unlocks are counted; unlocking what is not locked gives E_FAIL.
  HRESULT LockServer(int32_t lock) override;

 private:
  ~CFactory() = default;

  std::atomic<int32_t> count_{1};
  const ClassEntry& entry_;
  scombase::ModuleObject moduleObject_;
};
