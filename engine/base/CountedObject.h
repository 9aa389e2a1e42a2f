// The base of the engine's objects: identity queries over a list of interfaces, an atomic count.
//
// Owns:     the object deletes itself when its last reference is given back.
// Threads:  the count and the queries any; the rest is the derived class's matter.
// Errors:   E_NOINTERFACE for an interface that is not in the list; E_OUTOFMEMORY for no object.
#pragma once

#include <atomic>
#include <cstdint>
#include <new>
#include <tuple>
#include <utility>

#include "kiv/values/Export.h"
#include "kiv/values/Unknown.h"

namespace kiv {

// Engine objects alive in the process, for tests that look for leaks.
KIV_ENGINE_API int64_t LiveObjectCount();
KIV_ENGINE_API void NoteObjectBorn();
KIV_ENGINE_API void NoteObjectGone();

// Starts with a count of 1, held by whoever made it. The first interface is the one that answers
// for IUnknown.
template <typename... Interfaces>
class CountedObject : public Interfaces... {
 public:
  CountedObject(const CountedObject&) = delete;
  CountedObject& operator=(const CountedObject&) = delete;

  HRESULT QueryInterface(const GUID& iid, void** object) override {
    if (!object) return E_POINTER;
    *object = Find(iid);
    if (!*object) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  uint32_t AddRef() override { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
  uint32_t Release() override {
    const uint32_t left = count_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) delete this;
    return left;
  }

 protected:
  CountedObject() { NoteObjectBorn(); }
  virtual ~CountedObject() { NoteObjectGone(); }

 private:
  using First = std::tuple_element_t<0, std::tuple<Interfaces...>>;

  void* Find(const GUID& iid) {
    void* found = nullptr;
    if (iid == IUnknown::kIid) return static_cast<First*>(this);
    (void)((iid == Interfaces::kIid && (found = static_cast<Interfaces*>(this), true)) || ...);
    return found;
  }

  std::atomic<uint32_t> count_{1};
};

// A creation function's body: makes a T and hands out its interface `iid`.
template <typename T, typename... Args>
HRESULT CreateObject(IUnknown* outer, const GUID& iid, void** object, Args&&... args) {
  if (!object) return E_POINTER;
  *object = nullptr;
  if (outer) return CLASS_E_NOAGGREGATION;
  T* const made = new (std::nothrow) T(std::forward<Args>(args)...);
  if (!made) return E_OUTOFMEMORY;
  const HRESULT hr = made->QueryInterface(iid, object);
  made->Release();  // the reference it was born with
  return hr;
}

}  // namespace kiv
