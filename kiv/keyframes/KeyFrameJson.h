// The JSON document that a keyframed parameter is stored as, and where a property bag holds it.
//
// One object with the members "FrameRateDen", "FrameRateNum", "dataType", "params", "splineDegree"
// and "splineType". All are integers but "params": an array of objects with "index" (integer),
// "valueType" and "valueValue" (texts of a CKivValue), or null without keyframes.
// Threads:  any; keeps nothing between calls.
// Errors:   a document is refused whole: when it is not JSON, a member has another JSON type or an
//           integer more than 32 bits, a value's text or the document is too long, an interface is
//           named. May throw bad_alloc.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kiv/keyframes/KeyFrameList.h"
#include "kiv/platform/Properties.h"

namespace kiv {

// Characters of a document: about 200,000 rectangles.
constexpr size_t kMaxKeyFrameDocument = size_t{32} << 20;
// Characters of a value's type name, and of its text.
constexpr size_t kMaxKeyFrameText = 2047;

struct KeyFrameHeader {
  KeyFrameSpline spline;
  int32_t dataType = 0;
  KivRational frameRate{25, 1};
};

struct KeyFrameDocument {
  KeyFrameHeader header;
  std::vector<KeyFrame> frames;
};

// Compact, members in ascending order, ASCII, ended by a line feed. Empty when it would be longer than
// a document may be.
std::wstring WriteKeyFrameDocument(const KeyFrameHeader& header,
                                   const std::vector<KeyFrame>& frames);
// Whether both lists fit into one document, `more` after `frames`.
bool IsWritable(const KeyFrameHeader& header, const std::vector<KeyFrame>& frames,
                const std::vector<KeyFrame>& more);
// Integers that are missing are 0, texts empty. A value of an unknown type is an empty value.
std::optional<KeyFrameDocument> ReadKeyFrameDocument(const std::wstring& text);

// A bag holds the text under `name` + ".Serialize", and its length with the terminator under that +
// ".Size".
void StoreKeyFrameText(IKivProperties* bag, const wchar_t* name, const std::wstring& text);
// Nothing when there is no length; empty when there is no text. Memory grows with the text that is
// there, not with the length that was stored.
std::optional<std::wstring> StoredKeyFrameText(IKivProperties* bag, const wchar_t* name);

}  // namespace kiv
