// A typed value carried as a type name and its canonical text.
//
// Owns:     two texts; a value that names an interface holds exactly one reference on it.
// Threads:  one caller at a time for each value.
// Errors:   0 success, kValueOutOfMemory, kValueUnknownType; on failure nothing is changed or written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "kiv/values/Export.h"
#include "kiv/values/Guid.h"
#include "kiv/values/Unknown.h"
#include "kiv/values/ValueTypes.h"

constexpr int32_t kValueOutOfMemory = 12;
constexpr int32_t kValueUnknownType = 22;

// A block of bytes. Bytes are owned when bCopy is 1.
struct KIV_VALUES_API KivBlob {
  KivBlob();
  ~KivBlob();
  KivBlob(const KivBlob& other);
  KivBlob(KivBlob&& other) noexcept;
  KivBlob& operator=(KivBlob other) noexcept;

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

  // Defined for the native types of the 25 value type names (see ValueTypeNames.h).
  template <typename T>
  int32_t SetValue(const T& value);
  // Refused with kValueUnknownType when another type is stored. An interface is handed out with a
  // reference; a blob's bytes become the caller's.
  template <typename T>
  int32_t GetValue(T* value) const;

  // Reads `text` as a value of the named type and stores its canonical text.
  int32_t FromString(const std::wstring& typeName, const std::wstring& text);

  std::wstring GetTypeName() const { return typeName_; }
  std::wstring GetValueText() const { return valueText_; }
  // Gives back the reference of an interface value. The texts stay; callers overwrite them.
  void Clear();

 private:
  std::wstring typeName_;
  std::wstring valueText_;
};
