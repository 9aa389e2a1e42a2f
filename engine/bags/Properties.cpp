#include <wchar.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "engine/base/Boundary.h"
#include "engine/base/CountedObject.h"
#include "kiv/base/Mutex.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/CKivValue.h"

namespace {

using kiv::AtBoundary;

// An interface held by a value is stored as an object; types without a typed slot as the value itself.
using OtherValue = std::unique_ptr<const CKivValue>;
using Object = KivComPtr<IUnknown>;
using Entry = std::variant<int32_t, double, std::wstring, KivRectF, KivRange, KivSize, KivRational,
                           Object, OtherValue>;

// The property bag. Entries are kept in native form, so the typed slots convert nothing.
//
// Owns:     a reference to each stored object.
// Threads:  any; every operation is complete on its own.
// Locks:    one; under it only that of the interfaces that values hold. What an operation replaces is
//           dropped after it is released, because that may run a destructor which comes back to this
//           bag.
class CProperties final : public kiv::CountedObject<IKivProperties, IKivPropertyList> {
 public:
  HRESULT SetValue(const wchar_t* key, const CKivValue* value) override;
  HRESULT SetInt(const wchar_t* key, int32_t value) override { return Store(key, value); }
  HRESULT GetInt(const wchar_t* key, int32_t* value) override { return Load(key, value); }
  HRESULT SetString(const wchar_t* key, const wchar_t* text) override;
  HRESULT GetString(const wchar_t* key, wchar_t* buffer, int32_t capacity) override;
  HRESULT SetDouble(const wchar_t* key, double value) override { return Store(key, value); }
  HRESULT GetDouble(const wchar_t* key, double* value) override { return Load(key, value); }
  HRESULT SetRect(const wchar_t* key, const KivRectF* value) override { return Put(key, value); }
  HRESULT GetRect(const wchar_t* key, KivRectF* value) override { return Load(key, value); }
  HRESULT SetRange(const wchar_t* key, const KivRange* value) override { return Put(key, value); }
  HRESULT GetRange(const wchar_t* key, KivRange* value) override { return Load(key, value); }
  HRESULT SetSize(const wchar_t* key, const KivSize* value) override { return Put(key, value); }
  HRESULT GetSize(const wchar_t* key, KivSize* value) override { return Load(key, value); }
  HRESULT SetObject(const wchar_t* key, IUnknown* object) override;
  HRESULT GetObject(const wchar_t* key, IUnknown** object) override;
  HRESULT SetRational(const wchar_t* key, const KivRational* value) override {
    return Put(key, value);
  }
  HRESULT GetRational(const wchar_t* key, KivRational* value) override { return Load(key, value); }

  int32_t GetCount() override;
  HRESULT GetKey(int32_t index, wchar_t* buffer, int32_t capacity) override;
  HRESULT GetValue(const wchar_t* key, CKivValue* value) override;
  HRESULT Remove(const wchar_t* key) override;

 private:
  using Entries = std::map<std::wstring, Entry, std::less<>>;

  HRESULT Store(const wchar_t* key, Entry entry);
  template <typename T>
  HRESULT Put(const wchar_t* key, const T* value) {
    return value ? Store(key, *value) : E_POINTER;
  }
  // Hands the stored T to `use` under the lock.
  template <typename T, typename Use>
  HRESULT With(const wchar_t* key, Use&& use);
  template <typename T>
  HRESULT Load(const wchar_t* key, T* value);
  Entries::iterator AtLocked(int32_t index) KIV_REQUIRES(lock_);

  kiv::Mutex lock_;
  Entries entries_ KIV_GUARDED_BY(lock_);
  // The last place that was asked for by index, so that a walk over the keys takes one step each.
  // -1: none.
  Entries::iterator cursor_ KIV_GUARDED_BY(lock_);
  int32_t cursorIndex_ KIV_GUARDED_BY(lock_) = -1;
};

HRESULT CheckKey(const wchar_t* key) {
  if (!key) return E_POINTER;
  const size_t limit = static_cast<size_t>(kMaxPropertyKeyLength);
  return wcsnlen(key, limit + 1) > limit ? E_INVALIDARG : S_OK;
}

void CopyCut(std::wstring_view text, wchar_t* buffer, int32_t capacity) {
  const size_t length = text.copy(buffer, static_cast<size_t>(capacity) - 1);
  buffer[length] = 0;
}

template <typename T>
bool TakeAs(const CKivValue& value, const std::wstring& typeName, Entry* entry) {
  if (typeName != kiv::ValueTypeOf<T>::kName) return false;
  T native{};
  if (value.GetValue(&native) != 0) return false;
  *entry = std::move(native);
  return true;
}

bool TakeAsObject(const CKivValue& value, const std::wstring& typeName, Entry* entry) {
  CKivPtr<IUnknown> holder;
  if (typeName != kiv::ValueTypeOf<CKivPtr<IUnknown>>::kName) return false;
  if (value.GetValue(&holder) != 0 || !holder.Get()) return false;
  *entry = Object::Adopt(holder.Get());
  return true;
}

Entry EntryOf(const CKivValue& value) {
  const std::wstring name = value.GetTypeName();
  Entry entry;
  if (TakeAs<int32_t>(value, name, &entry) || TakeAs<double>(value, name, &entry) ||
      TakeAs<std::wstring>(value, name, &entry) || TakeAs<KivRectF>(value, name, &entry) ||
      TakeAs<KivRange>(value, name, &entry) || TakeAs<KivSize>(value, name, &entry) ||
      TakeAs<KivRational>(value, name, &entry) || TakeAsObject(value, name, &entry)) {
    return entry;
  }
  return std::make_unique<const CKivValue>(value);
}

struct ToValue {
  CKivValue* value;

  template <typename T>
  int32_t operator()(const T& native) const {
    return value->SetValue(native);
  }
  int32_t operator()(const Object& object) const {
    return value->SetValue(CKivPtr<IUnknown>(object.Get()));
  }
  int32_t operator()(const OtherValue& other) const {
    value->Assign(*other);
    return 0;
  }
};

HRESULT CProperties::Store(const wchar_t* key, Entry entry) {
  if (const HRESULT hr = CheckKey(key); Failed(hr)) return hr;
  return AtBoundary([&] {
    const kiv::MutexLock guard(lock_);
    const auto place = entries_.find(std::wstring_view(key));
    if (place != entries_.end()) {
      place->second.swap(entry);
      return S_OK;
    }
    entries_.emplace(key, std::move(entry));
    cursorIndex_ = -1;
    return S_OK;
  });
}

template <typename T, typename Use>
HRESULT CProperties::With(const wchar_t* key, Use&& use) {
  if (const HRESULT hr = CheckKey(key); Failed(hr)) return hr;
  const kiv::MutexLock guard(lock_);
  const auto place = entries_.find(std::wstring_view(key));
  if (place == entries_.end()) return E_NOTFOUND;
  const T* const stored = std::get_if<T>(&place->second);
  if (!stored) return E_TYPEMISMATCH;
  use(*stored);
  return S_OK;
}

template <typename T>
HRESULT CProperties::Load(const wchar_t* key, T* value) {
  if (!value) return E_POINTER;
  return With<T>(key, [&](const T& stored) { *value = stored; });
}

HRESULT CProperties::SetValue(const wchar_t* key, const CKivValue* value) {
  if (!value) return E_POINTER;
  return AtBoundary([&] {
    if (value->GetTypeName().empty()) return E_INVALIDARG;
    return Store(key, EntryOf(*value));
  });
}

HRESULT CProperties::SetString(const wchar_t* key, const wchar_t* text) {
  if (!text) return E_POINTER;
  return AtBoundary([&] { return Store(key, std::wstring(text)); });
}

HRESULT CProperties::GetString(const wchar_t* key, wchar_t* buffer, int32_t capacity) {
  if (!buffer) return E_POINTER;
  if (capacity <= 0) return E_INVALIDARG;
  return With<std::wstring>(key,
                            [&](const std::wstring& text) { CopyCut(text, buffer, capacity); });
}

HRESULT CProperties::SetObject(const wchar_t* key, IUnknown* object) {
  if (object) return Store(key, Object(object));
  const HRESULT hr = Remove(key);
  return hr == E_NOTFOUND ? S_OK : hr;
}

HRESULT CProperties::GetObject(const wchar_t* key, IUnknown** object) {
  if (!object) return E_POINTER;
  return With<Object>(key, [&](const Object& stored) { *object = Object(stored).Detach(); });
}

int32_t CProperties::GetCount() {
  const kiv::MutexLock guard(lock_);
  return static_cast<int32_t>(entries_.size());
}

CProperties::Entries::iterator CProperties::AtLocked(int32_t index) {
  if (cursorIndex_ < 0 || index < cursorIndex_) {
    cursor_ = entries_.begin();
    cursorIndex_ = 0;
  }
  for (; cursorIndex_ < index; ++cursorIndex_) ++cursor_;
  return cursor_;
}

HRESULT CProperties::GetKey(int32_t index, wchar_t* buffer, int32_t capacity) {
  if (!buffer) return E_POINTER;
  if (capacity <= 0) return E_INVALIDARG;
  const kiv::MutexLock guard(lock_);
  if (index < 0 || static_cast<size_t>(index) >= entries_.size()) return E_NOTFOUND;
  CopyCut(AtLocked(index)->first, buffer, capacity);
  return S_OK;
}

HRESULT CProperties::GetValue(const wchar_t* key, CKivValue* value) {
  if (!value) return E_POINTER;
  if (const HRESULT hr = CheckKey(key); Failed(hr)) return hr;
  return AtBoundary([&] {
    // The caller's value is assigned without the lock: it may drop an object.
    CKivValue copy;
    {
      const kiv::MutexLock guard(lock_);
      const auto place = entries_.find(std::wstring_view(key));
      if (place == entries_.end()) return E_NOTFOUND;
      if (std::visit(ToValue{&copy}, place->second) != 0) return E_OUTOFMEMORY;
    }
    value->Assign(copy);
    return S_OK;
  });
}

HRESULT CProperties::Remove(const wchar_t* key) {
  if (const HRESULT hr = CheckKey(key); Failed(hr)) return hr;
  Entries::node_type removed;
  const kiv::MutexLock guard(lock_);
  const auto place = entries_.find(std::wstring_view(key));
  if (place == entries_.end()) return E_NOTFOUND;
  removed = entries_.extract(place);
  cursorIndex_ = -1;
  return S_OK;
}

}  // namespace

namespace KivCommon {

KivPropDecorator CreateProperties() {
  return KivPropDecorator(KivComPtr<IKivProperties>::Adopt(new (std::nothrow) CProperties));
}

}  // namespace KivCommon
