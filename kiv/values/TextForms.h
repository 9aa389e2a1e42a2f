// The text forms of the value structures, in the "C" locale.
#pragma once

#include <string>
#include <string_view>

#include "kiv/values/Export.h"
#include "kiv/values/ValueTypes.h"

// X(structure)
#define KIV_TEXT_STRUCTURES(X) \
  X(KivPoint)                  \
  X(KivPointF)                 \
  X(KivSize)                   \
  X(KivSizeF)                  \
  X(KivRect)                   \
  X(KivRectF)                  \
  X(KivRational)               \
  X(KivColorF)                 \
  X(KivRange)

// WriteText replaces `text` by the canonical form. ReadText starts from a fresh structure: fields
// that the text does not supply keep their starting values; integers beyond a field's range
// saturate.
#define KIV_DECLARE_TEXT_FORM(Structure)                                     \
  KIV_VALUES_API void WriteText(const Structure& value, std::wstring* text); \
  KIV_VALUES_API void ReadText(std::wstring_view text, Structure* value);
KIV_TEXT_STRUCTURES(KIV_DECLARE_TEXT_FORM)
#undef KIV_DECLARE_TEXT_FORM
