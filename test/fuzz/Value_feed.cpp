#include "kiv/platform/KivCommon.h"
#include "kiv/values/CKivValue.h"
#include "test/fuzz/Feeds.h"

namespace fuzz {
namespace {

// Asked for as every type there is; an interface is given back.
template <typename T>
void Ask(const CKivValue& value) {
  T native{};
  if (value.GetValue(&native) != 0) return;
  if constexpr (std::is_same_v<T, CKivPtr<IUnknown>>) {
    if (native.Get()) native.Get()->Release();
  }
}

void AskAll(const CKivValue& value) {
#define KIV_ASK(id, native, name) Ask<native>(value);
  KIV_VALUE_TYPES(KIV_ASK)
#undef KIV_ASK
}

}  // namespace

bool FeedValue(const uint8_t* data, size_t size) {
  if (size == 0) return true;
  const size_t type = data[0] % (kiv::kValueTypeCount + 1u);
  const bool isKnown = type < kiv::kValueTypeCount;
  const std::wstring name = isKnown ? kiv::kValueTypeNames[type] : L"bool";
  const std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  const std::wstring text = KivCommon::Char2WChar(bytes.c_str());
  CKivValue value;
  if (value.FromString(name, text) != (isKnown ? 0 : kValueUnknownType)) return false;
  AskAll(value);
  if (!isKnown) return value.GetTypeName().empty() && value.GetValueText().empty();
  CKivValue again(value);
  if (!again.Equals(value) || again.CarriesInterface() != value.CarriesInterface()) return false;
  // A byte is written as a character and read as a number.
  if (name == kiv::ValueTypeOf<unsigned char>::kName) return value.GetValueText().size() <= 1;
  return again.FromString(name, value.GetValueText()) == 0 && again.Equals(value);
}

}  // namespace fuzz
