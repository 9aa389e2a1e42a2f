// Reads numbers and literals out of a wide text as the C scan functions do, in the "C" locale.
//
// After the first part that does not match, every further read fails, so what was read before stays
// and the rest keeps its starting values. Nothing overflows: integers saturate at 64 bits.
// Owns:     nothing; the text must outlive it.
// Threads:  one caller at a time.
#pragma once

#include <cstdint>
#include <string_view>

#include "kiv/values/Export.h"

namespace kiv {

class KIV_VALUES_API TextScan {
 public:
  explicit TextScan(std::wstring_view text) : text_(text) {}

  // A blank in `literal` matches any run of blanks, also none; other characters match themselves.
  bool Literal(std::wstring_view literal);
  // Leading blanks are skipped by all three. On failure `value` is untouched.
  bool Integer(int64_t* value);
  // Beyond the type's range: infinity or zero, with the sign. Accepts exponents, hexadecimal digits
  // after "0x", "inf" and "nan".
  bool Real(double* value);
  bool Real(float* value);
  // A hexadecimal number with or without "0x"; more than 64 bits do not match.
  bool Address(uint64_t* value);

  std::wstring_view Rest() const { return text_; }

 private:
  bool Fail();
  void SkipBlanks();
  template <typename T>
  bool ReadReal(T* value);

  std::wstring_view text_;
  bool failed_ = false;
};

}  // namespace kiv
