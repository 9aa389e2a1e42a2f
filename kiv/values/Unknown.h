// The root of every interface: identity queries and reference counting.
//
// Interfaces have no virtual destructor: it would occupy a slot. An interface type carries its
// identity as a static member `kIid`, which takes no room in the object.
#pragma once

#include <cstdint>

#include "kiv/values/Guid.h"
#include "kiv/values/ResultCodes.h"

struct KIV_EXPORT IUnknown {
  static constexpr GUID kIid{0x00000000, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

  // On success `*object` holds one reference; on failure it holds null.
  virtual HRESULT QueryInterface(const GUID& iid, void** object) = 0;
  virtual uint32_t AddRef() = 0;
  virtual uint32_t Release() = 0;
};

struct KIV_EXPORT IClassFactory : IUnknown {
  static constexpr GUID kIid{0x00000001, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

  virtual HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** object) = 0;
  virtual HRESULT LockServer(int32_t lock) = 0;
};
