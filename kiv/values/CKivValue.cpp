#include "kiv/values/CKivValue.h"

#include <type_traits>
#include <utility>

#include "kiv/values/InterfaceTable.h"
#include "kiv/values/NativeText.h"

namespace {

constexpr std::wstring_view kInterfaceName = kiv::ValueTypeOf<CKivPtr<IUnknown>>::kName;
constexpr std::wstring_view kNestedName = kiv::ValueTypeOf<CKivValue>::kName;

template <typename T>
constexpr bool kIsInterface = std::is_same_v<T, CKivPtr<IUnknown>>;
template <typename T>
constexpr bool kIsNested = std::is_same_v<T, CKivValue>;

bool IsValueTypeName(std::wstring_view name) {
  for (const wchar_t* known : kiv::kValueTypeNames) {
    if (name == known) return true;
  }
  return false;
}

// Only the memory for a text can be unavailable.
template <typename Operation>
int32_t WithoutExceptions(Operation&& operation) {
  try {
    return operation();
  } catch (...) {
    return kValueOutOfMemory;
  }
}

}  // namespace

CKivValue::CKivValue(const CKivValue& other) { CKivValue::Assign(other); }

CKivValue& CKivValue::operator=(const CKivValue& other) {
  if (this != &other) Assign(other);
  return *this;
}

CKivValue::~CKivValue() { Clear(); }

void CKivValue::Assign(const CKivValue& other) {
  if (this == &other) return;
  std::wstring typeName = other.typeName_;
  std::wstring text = other.valueText_;
  IUnknown* const held = typeName == kInterfaceName
                             ? kiv::InterfaceTable::HoldKnown(kiv::ReadInterfaceAddress(text))
                             : nullptr;
  Replace(std::move(typeName), std::move(text), held);
}

bool CKivValue::Equals(const CKivValue& other) const { return valueText_ == other.valueText_; }

void CKivValue::Clear() { kiv::InterfaceTable::Release(std::exchange(held_, nullptr)); }

// The old interface goes last: its release may run a destructor that comes back to this value.
void CKivValue::Replace(std::wstring&& typeName, std::wstring&& text, IUnknown* held) noexcept {
  typeName_.swap(typeName);
  valueText_.swap(text);
  kiv::InterfaceTable::Release(std::exchange(held_, held));
}

template <kiv::NativeValue T>
int32_t CKivValue::SetValue(const T& value) {
  return WithoutExceptions([&] {
    std::wstring text;
    if (const int32_t result = kiv::WriteNative(value, &text)) return result;
    std::wstring typeName = kiv::ValueTypeOf<T>::kName;
    IUnknown* held = nullptr;
    if constexpr (kIsInterface<T>) {
      held = value.Get();
      kiv::InterfaceTable::Hold(held);
    }
    Replace(std::move(typeName), std::move(text), held);
    return 0;
  });
}

template <typename T>
int32_t CKivValue::ReadStored(std::wstring_view typeName, std::wstring_view text, T* value) {
  for (int depth = 0; depth <= kMaxValueNesting; ++depth) {
    if (typeName == kiv::ValueTypeOf<T>::kName) {
      if constexpr (kIsInterface<T>) {
        *value = T(kiv::InterfaceTable::Borrow(kiv::ReadInterfaceAddress(text)));
        return 0;
      } else if constexpr (kIsNested<T>) {
        const kiv::NestedText inner = kiv::SplitNested(text);
        if (!IsValueTypeName(inner.typeName)) return kValueUnknownType;
        CKivValue copy;
        copy.typeName_ = inner.typeName;
        copy.valueText_ = inner.text;
        value->Assign(copy);
        return 0;
      } else {
        return kiv::ReadNative(text, value);
      }
    }
    if (typeName != kNestedName) return kValueUnknownType;
    const kiv::NestedText inner = kiv::SplitNested(text);
    typeName = inner.typeName;
    text = inner.text;
  }
  return kValueUnknownType;
}

template <kiv::NativeValue T>
int32_t CKivValue::GetValue(T* value) const {
  if (!value) return kValueUnknownType;
  return WithoutExceptions([&] { return ReadStored(typeName_, valueText_, value); });
}

template <typename T>
int32_t CKivValue::StoreText(std::wstring_view text) {
  if constexpr (kIsInterface<T>) {
    IUnknown* const known = kiv::InterfaceTable::Borrow(kiv::ReadInterfaceAddress(text));
    const int32_t result = SetValue(T(known));
    if (known) known->Release();
    return result;
  } else if constexpr (kIsNested<T>) {
    const kiv::NestedText inner = kiv::SplitNested(text);
    CKivValue value;
    value.typeName_ = inner.typeName;
    value.valueText_ = inner.text;
    return SetValue(value);
  } else {
    T value{};
    if (const int32_t result = kiv::ReadNative(text, &value)) return result;
    return SetValue(value);
  }
}

int32_t CKivValue::FromString(const std::wstring& typeName, const std::wstring& text) {
  return WithoutExceptions([&] {
#define KIV_STORE_TEXT(id, native, name) \
  if (typeName == L##name) return StoreText<native>(text);
    KIV_VALUE_TYPES(KIV_STORE_TEXT)
#undef KIV_STORE_TEXT
    return kValueUnknownType;
  });
}

bool CKivValue::CarriesInterface() const {
  std::wstring_view typeName = typeName_;
  std::wstring_view text = valueText_;
  for (int depth = 0; depth <= kMaxValueNesting; ++depth) {
    if (typeName == kInterfaceName) return true;
    if (typeName != kNestedName) return false;
    const kiv::NestedText inner = kiv::SplitNested(text);
    typeName = inner.typeName;
    text = inner.text;
  }
  return true;
}

#define KIV_INSTANTIATE_VALUE(id, native, name)                               \
  template KIV_VALUES_API int32_t CKivValue::SetValue<native>(const native&); \
  template KIV_VALUES_API int32_t CKivValue::GetValue<native>(native*) const;
KIV_VALUE_TYPES(KIV_INSTANTIATE_VALUE)
#undef KIV_INSTANTIATE_VALUE
