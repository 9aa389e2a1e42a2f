// Owns one counted interface reference. docs/threads-and-ownership.md says which form to use where.
//
// Owns:     one reference, or none.
// Threads:  one caller at a time for each holder; counts may change on any thread.
#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "kiv/values/Unknown.h"

template <typename T>
class KivComPtr {
 public:
  KivComPtr() = default;
  KivComPtr(std::nullptr_t) {}  // NOLINT: a null holder reads as null at call sites
  // Takes a reference of its own.
  explicit KivComPtr(T* raw) : raw_(raw) {
    if (raw_) raw_->AddRef();
  }
  KivComPtr(const KivComPtr& other) : KivComPtr(other.raw_) {}
  // From a holder of a derived interface.
  template <typename U>
  requires std::is_base_of_v<T, U> KivComPtr(const KivComPtr<U>& other)
      : KivComPtr(static_cast<T*>(other.Get())) {}
  KivComPtr(KivComPtr&& other) noexcept : raw_(std::exchange(other.raw_, nullptr)) {}
  ~KivComPtr() {
    if (raw_) raw_->Release();
  }

  // Swaps first and releases last: a release may run a destructor that comes back here.
  KivComPtr& operator=(KivComPtr other) noexcept {
    std::swap(raw_, other.raw_);
    return *this;
  }

  // Takes over a reference that the caller holds.
  static KivComPtr Adopt(T* raw) {
    KivComPtr holder;
    holder.raw_ = raw;
    return holder;
  }
  // Gives the held reference to the caller.
  T* Detach() { return std::exchange(raw_, nullptr); }
  void Reset() { KivComPtr().Swap(*this); }
  void Swap(KivComPtr& other) noexcept { std::swap(raw_, other.raw_); }

  T* Get() const { return raw_; }
  T* operator->() const { return raw_; }
  T& operator*() const { return *raw_; }
  explicit operator bool() const { return raw_ != nullptr; }

  // An out slot to be filled; what was held is dropped first.
  T** Put() {
    Reset();
    return &raw_;
  }
  void** PutVoid() { return reinterpret_cast<void**>(Put()); }

  // The same object's other interface; null when nothing is held or the object has none.
  template <typename U>
  KivComPtr<U> As() const {
    KivComPtr<U> other;
    if (raw_) raw_->QueryInterface(U::kIid, other.PutVoid());
    return other;
  }

  friend bool operator==(const KivComPtr& a, const KivComPtr& b) { return a.raw_ == b.raw_; }
  friend bool operator==(const KivComPtr& a, const T* b) { return a.raw_ == b; }
  friend bool operator==(const KivComPtr& a, std::nullptr_t) { return a.raw_ == nullptr; }

 private:
  T* raw_ = nullptr;
};
