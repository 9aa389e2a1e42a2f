// The property bag: a keyed store of typed values.
//
// Threads:  a bag locks itself; every operation is complete on its own.
// Errors:   a get of a missing key gives E_NOTFOUND, of another type E_TYPEMISMATCH; the out value is
//           then untouched, so callers preset defaults. A key that is null gives E_POINTER, one that is
//           longer than kMaxPropertyKeyLength E_INVALIDARG.
#pragma once

#include <cstdint>

#include "kiv/platform/KivComPtr.h"
#include "kiv/values/ValueTypes.h"

class CKivValue;

constexpr int32_t kMaxPropertyKeyLength = 4095;

struct KIV_EXPORT IKivProperties : IUnknown {
  static constexpr GUID kIid{
      0xD497118B, 0x7856, 0x4F21, {0x80, 0x23, 0x8C, 0xB4, 0xC0, 0x0D, 0xE1, 0x44}};

  // What the typed slots can hold is readable through them afterwards. A value without a type is
  // refused with E_INVALIDARG.
  virtual HRESULT SetValue(const wchar_t* key, const CKivValue* value) = 0;  // slot 3
  virtual HRESULT Reserved4() { return E_NOTIMPL; }
  virtual HRESULT Reserved5() { return E_NOTIMPL; }
  virtual HRESULT Reserved6() { return E_NOTIMPL; }
  virtual HRESULT SetInt(const wchar_t* key, int32_t value) = 0;  // slot 7
  virtual HRESULT GetInt(const wchar_t* key, int32_t* value) = 0;
  virtual HRESULT Reserved9() { return E_NOTIMPL; }
  virtual HRESULT Reserved10() { return E_NOTIMPL; }
  virtual HRESULT SetString(const wchar_t* key, const wchar_t* text) = 0;  // slot 11
  // A text that does not fit is cut; the buffer is always terminated when capacity is above 0.
  virtual HRESULT GetString(const wchar_t* key, wchar_t* buffer, int32_t capacity) = 0;
  virtual HRESULT SetDouble(const wchar_t* key, double value) = 0;
  virtual HRESULT GetDouble(const wchar_t* key, double* value) = 0;
  virtual HRESULT Reserved15() { return E_NOTIMPL; }
  virtual HRESULT Reserved16() { return E_NOTIMPL; }
  virtual HRESULT SetRect(const wchar_t* key, const KivRectF* value) = 0;  // slot 17
  virtual HRESULT GetRect(const wchar_t* key, KivRectF* value) = 0;
  virtual HRESULT Reserved19() { return E_NOTIMPL; }
  virtual HRESULT Reserved20() { return E_NOTIMPL; }
  virtual HRESULT SetRange(const wchar_t* key, const KivRange* value) = 0;  // slot 21
  virtual HRESULT GetRange(const wchar_t* key, KivRange* value) = 0;
  virtual HRESULT Reserved23() { return E_NOTIMPL; }
  virtual HRESULT Reserved24() { return E_NOTIMPL; }
  virtual HRESULT SetSize(const wchar_t* key, const KivSize* value) = 0;  // slot 25
  virtual HRESULT GetSize(const wchar_t* key, KivSize* value) = 0;
  virtual HRESULT Reserved27() { return E_NOTIMPL; }
  virtual HRESULT Reserved28() { return E_NOTIMPL; }
  virtual HRESULT Reserved29() { return E_NOTIMPL; }
  virtual HRESULT Reserved30() { return E_NOTIMPL; }
  // The bag takes its own reference. Null removes the entry.
  virtual HRESULT SetObject(const wchar_t* key, IUnknown* object) = 0;  // slot 31
  // The caller receives a reference.
  virtual HRESULT GetObject(const wchar_t* key, IUnknown** object) = 0;
  virtual HRESULT Reserved33() { return E_NOTIMPL; }
  virtual HRESULT Reserved34() { return E_NOTIMPL; }
  virtual HRESULT SetRational(const wchar_t* key, const KivRational* value) = 0;  // slot 35
  virtual HRESULT GetRational(const wchar_t* key, KivRational* value) = 0;
};

// Walks a bag's entries in key order, to write the bag into a document.
struct KIV_EXPORT IKivPropertyList : IUnknown {
  static constexpr GUID kIid{
      0x3F9A7C52, 0x4B18, 0x4E6D, {0x95, 0xC0, 0x61, 0x2D, 0x8F, 0xA7, 0x04, 0xBB}};

  virtual int32_t GetCount() = 0;
  // The key is cut to fit and terminated.
  virtual HRESULT GetKey(int32_t index, wchar_t* buffer, int32_t capacity) = 0;
  virtual HRESULT GetValue(const wchar_t* key, CKivValue* value) = 0;
  virtual HRESULT Remove(const wchar_t* key) = 0;
};

// A reference to a bag.
//
// Owns:     that reference.
// Threads:  one caller at a time for each holder.
class KivPropDecorator {
 public:
  KivPropDecorator() = default;
  explicit KivPropDecorator(KivComPtr<IKivProperties> bag) : bag_(std::move(bag)) {}

  IKivProperties* operator->() const { return bag_.Get(); }
  IKivProperties* Get() const { return bag_.Get(); }
  const KivComPtr<IKivProperties>& Reference() const { return bag_; }
  explicit operator bool() const { return static_cast<bool>(bag_); }

 private:
  KivComPtr<IKivProperties> bag_;
};
