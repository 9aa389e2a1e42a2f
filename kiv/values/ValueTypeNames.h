// The value types: their names in documents, and the native type each stands for.
#pragma once

#include <cstdint>
#include <string>

#include "kiv/values/Unknown.h"
#include "kiv/values/ValueTypes.h"

struct KivBlob;
class CKivValue;
template <typename T>
class CKivPtr;

// "long" and "unsigned long" are 32 bits wide wherever a document is read. These carry them,
// because the language's own `long` is not.
struct KivLong {
  int32_t value = 0;
  friend bool operator==(const KivLong&, const KivLong&) = default;
};

struct KivULong {
  uint32_t value = 0;
  friend bool operator==(const KivULong&, const KivULong&) = default;
};

// X(identifier, native type, name), in the order in which every lookup tests them. Names are
// compared exactly.
#define KIV_VALUE_TYPES(X)                             \
  X(Char, char, "char")                                \
  X(UnsignedChar, unsigned char, "unsigned char")      \
  X(Short, short, "short")                             \
  X(UnsignedShort, unsigned short, "unsigned short")   \
  X(Int, int, "int")                                   \
  X(UnsignedInt, unsigned int, "unsigned int")         \
  X(Long, KivLong, "long")                             \
  X(UnsignedLong, KivULong, "unsigned long")           \
  X(LongLong, long long, "long long")                  \
  X(Float, float, "float")                             \
  X(Double, double, "double")                          \
  X(WString, std::wstring, "std::wstring")             \
  X(Point, KivPoint, "KivPoint")                       \
  X(PointF, KivPointF, "KivPointF")                    \
  X(Size, KivSize, "KivSize")                          \
  X(SizeF, KivSizeF, "KivSizeF")                       \
  X(Rect, KivRect, "KivRect")                          \
  X(RectF, KivRectF, "KivRectF")                       \
  X(Rational, KivRational, "KivRational")              \
  X(ColorF, KivColorF, "KivColorF")                    \
  X(Blob, KivBlob, "KivBlob")                          \
  X(Guid, GUID, "GUID")                                \
  X(Interface, CKivPtr<IUnknown>, "CKivPtr<IUnknown>") \
  X(Range, KivRange, "KivRange")                       \
  X(Value, CKivValue, "CKivValue")

namespace kiv {

enum class ValueType : uint8_t {
#define KIV_VALUE_TYPE_ENUM(id, native, name) k##id,
  KIV_VALUE_TYPES(KIV_VALUE_TYPE_ENUM)
#undef KIV_VALUE_TYPE_ENUM
};

constexpr const wchar_t* const kValueTypeNames[] = {
#define KIV_VALUE_TYPE_NAME(id, native, name) L##name,
    KIV_VALUE_TYPES(KIV_VALUE_TYPE_NAME)
#undef KIV_VALUE_TYPE_NAME
};
constexpr int kValueTypeCount = sizeof(kValueTypeNames) / sizeof(kValueTypeNames[0]);
static_assert(kValueTypeCount == 25);

// The value type of a native type; undefined for any other type, such as bool.
template <typename T>
struct ValueTypeOf;
#define KIV_VALUE_TYPE_TRAIT(id, native, name)           \
  template <>                                            \
  struct ValueTypeOf<native> {                           \
    static constexpr ValueType kType = ValueType::k##id; \
    static constexpr const wchar_t* kName = L##name;     \
  };
KIV_VALUE_TYPES(KIV_VALUE_TYPE_TRAIT)
#undef KIV_VALUE_TYPE_TRAIT

// A native type that a value can carry.
template <typename T>
concept NativeValue = requires {
  ValueTypeOf<T>::kType;
};

}  // namespace kiv
