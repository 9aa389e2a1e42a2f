// The base of every object of the component that is handed across an interface.
#pragma once

#include <atomic>
#include <cstdint>

#include "kiv/object/ModuleCount.h"
#include "kiv/values/Unknown.h"

// The three unknown slots of an object's interfaces: all of them ask the owner. Stands once, in the
// public part of each class that adds interfaces to scombase::CUnknown.
#define KIV_DELEGATE_UNKNOWN                                        \
  HRESULT QueryInterface(const GUID& iid, void** object) override { \
    return Owner()->QueryInterface(iid, object);                    \
  }                                                                 \
  uint32_t AddRef() override { return Owner()->AddRef(); }          \
  uint32_t Release() override { return Owner()->Release(); }

namespace scombase {

struct INonDelegatingUnknown {
  virtual HRESULT NonDelegatingQueryInterface(const GUID& iid, void** object) = 0;
  virtual uint32_t NonDelegatingAddRef() = 0;
  virtual uint32_t NonDelegatingRelease() = 0;
};

// Counts references and lets itself be contained: with an outer unknown, everything that is asked
// or counted through its interfaces goes to that one.
//
// Owns:     nothing; the outer unknown is never counted, it outlives its parts.
// Threads:  counts may change on any thread, identities are constant.
// Errors:   a null out pointer gives E_POINTER, an identity not answered E_NOINTERFACE.
class CUnknown : public INonDelegatingUnknown {
 public:
  // Without `outer` the object is its own owner. The count starts at 0: whoever makes the object
  // takes the first reference.
  explicit CUnknown(IUnknown* outer);
  CUnknown(const CUnknown&) = delete;
  CUnknown& operator=(const CUnknown&) = delete;

  HRESULT NonDelegatingQueryInterface(const GUID& iid, void** object) override;
  // The new count, at least 1.
  uint32_t NonDelegatingAddRef() override;
  // 0 when it destroyed the object, else the new count, at least 1.
  uint32_t NonDelegatingRelease() override;

  virtual ~CUnknown();

  IUnknown* Owner() const { return owner_; }

 protected:
  // Answers an identity query with one of the object's interfaces, counted through it.
  template <typename Interface>
  static HRESULT HandOut(Interface* answer, void** object) {
    if (!object) return E_POINTER;
    *object = answer;
    answer->AddRef();
    return S_OK;
  }

 private:
  // The non-delegating operations in the shape of an interface, for owners and hosts.
  class InnerUnknown final : public IUnknown {
   public:
    explicit InnerUnknown(CUnknown& object) : object_(object) {}
    HRESULT QueryInterface(const GUID& iid, void** object) override {
      return object_.NonDelegatingQueryInterface(iid, object);
    }
    uint32_t AddRef() override { return object_.NonDelegatingAddRef(); }
    uint32_t Release() override { return object_.NonDelegatingRelease(); }

   private:
    CUnknown& object_;
  };

  IUnknown* const owner_;
  std::atomic<int32_t> count_{0};
  InnerUnknown inner_{*this};
  ModuleObject moduleObject_;
};

}  // namespace scombase
