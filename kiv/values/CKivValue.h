// A typed value carried as a type name and its canonical text.
//
// Owns:     two texts; a value that names an interface holds exactly one reference on it.
// Threads:  one caller at a time for each value.
// Errors:   0 success, kValueOutOfMemory, kValueUnknownType; on failure nothing is changed or
//           written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "kiv/values/Export.h"
#include "kiv/values/Guid.h"
#include "kiv/values/Unknown.h"
#include "kiv/values/ValueTypeNames.h"
#include "kiv/values/ValueTypes.h"

constexpr int32_t kValueOutOfMemory = 12;
constexpr int32_t kValueUnknownType = 22;
// Values inside values that a read goes through before it gives up with kValueUnknownType.
constexpr int kMaxValueNesting = 32;

// A block of bytes. Bytes are owned, and come from AllocateBytes, when bCopy is 1; else they are
// somebody else's and a copy of the blob names the same bytes.
struct KIV_VALUES_API KivBlob {
  KivBlob();
  ~KivBlob();
  KivBlob(const KivBlob& other);
  KivBlob(KivBlob&& other) noexcept;
  KivBlob& operator=(KivBlob other) noexcept;

  // Null when memory runs out or `count` is 0.
  static uint8_t* AllocateBytes(size_t count);
  // Makes `bytes`, from AllocateBytes, the blob's own; what it owned before is freed.
  void Adopt(uint8_t* bytes, uint32_t count);

  uint32_t uDataSize = 0;
  uint8_t* pData = nullptr;
  int32_t bCopy = 0;
  wchar_t pExtend[64] = {};
};

// Holds a raw interface pointer; takes no reference and gives none back.
template <typename T>
class CKivPtr {
 public:
  CKivPtr() = default;
  explicit CKivPtr(T* raw) : raw_(raw) {}
  virtual ~CKivPtr() = default;
  virtual T* Get() const { return raw_; }
  virtual T* GetRaw() const { return raw_; }
  virtual void CopyFrom(const CKivPtr& other) { raw_ = other.raw_; }

  CKivPtr(const CKivPtr&) = default;
  CKivPtr& operator=(const CKivPtr&) = default;

 private:
  T* raw_ = nullptr;
};

class KIV_VALUES_API CKivValue {
 public:
  CKivValue() = default;
  CKivValue(const CKivValue& other);
  CKivValue& operator=(const CKivValue& other);

  virtual ~CKivValue();
  virtual void Assign(const CKivValue& other);
  // Compares the texts only: an "int" 5 equals a "long" 5.
  virtual bool Equals(const CKivValue& other) const;

  // Defined for the native types of ValueTypeNames.h. An interface gains one reference.
  template <kiv::NativeValue T>
  int32_t SetValue(const T& value);
  // Refused with kValueUnknownType when another type is stored. A value stored inside values may be
  // asked for by its own type. An interface is handed out with a reference, null when no value of
  // this process holds it any more; a blob's bytes become the caller's, its pExtend stays.
  template <kiv::NativeValue T>
  int32_t GetValue(T* value) const;

  // Reads `text` as a value of the named type and stores its canonical text. What does not parse is
  // 0. The address of an interface is honoured only while some value of this process holds that
  // very interface; any other is null.
  int32_t FromString(const std::wstring& typeName, const std::wstring& text);

  std::wstring GetTypeName() const { return typeName_; }
  std::wstring GetValueText() const { return valueText_; }
  // True when the text names an interface, itself or in a value inside, or is nested deeper than
  // kMaxValueNesting: such a value must not be written into a document.
  bool CarriesInterface() const;
  // Gives back the reference of an interface value. The texts stay; callers overwrite them.
  void Clear();

 private:
  void Replace(std::wstring&& typeName, std::wstring&& text, IUnknown* held) noexcept;
  template <typename T>
  int32_t StoreText(std::wstring_view text);
  template <typename T>
  static int32_t ReadStored(std::wstring_view typeName, std::wstring_view text, T* value);

  std::wstring typeName_;
  std::wstring valueText_;
  IUnknown* held_ = nullptr;  // the reference Clear gives back
};
