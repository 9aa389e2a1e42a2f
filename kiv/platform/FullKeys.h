// Full names of entries that KeyNames.h names by their beginning, marks in the bags of an
// initialization, and the entries of a bag of motion data.
#pragma once

#include <cstdint>
#include <string>

#include "kiv/platform/KeyNames.h"
#include "kiv/values/NumberText.h"

namespace KivKey {

// The same fact about the video stream, of a source or a render.
inline std::wstring OfVideo(const wchar_t* key) { return std::wstring(key) + L".Video"; }
// The same setting of what the clip is a part of.
inline std::wstring OfParent(const wchar_t* key) { return std::wstring(key) + L".Parent"; }
// A keyframed parameter's document, and how many characters it has with the terminator.
inline std::wstring DocumentOf(const wchar_t* key) { return std::wstring(key) + L".Serialize"; }
inline std::wstring DocumentSizeOf(const wchar_t* key) { return DocumentOf(key) + L".Size"; }

namespace Mark {
// 1 in a settings bag: let go of what is held.
inline constexpr wchar_t kCleanup[] = L"CLIP.CMD.CLEANUP";
// 1 in a settings bag: the clip render's own initialization.
inline constexpr wchar_t kNecessaryInit[] = L"CLIP.CMD.NECESSARY.INIT";
}  // namespace Mark

namespace MotionData {
inline constexpr wchar_t kEnabled[] = L"Stab.Enable";
inline constexpr wchar_t kRange[] = L"Stab.rngSource";
inline constexpr wchar_t kPath[] = L"Stab.wstrPath";
inline constexpr wchar_t kStream[] = L"Stab.nStreamIdx";
inline constexpr wchar_t kSize[] = L"Stab.oSize";
inline constexpr wchar_t kFrameRate[] = L"Stab.ratFramerate";
// The motion that leads to frame `index` of the range.
inline std::wstring Entry(int64_t index) {
  std::wstring key = L"Stab-Data-";
  kiv::AppendInteger(&key, index);
  return key;
}
}  // namespace MotionData

}  // namespace KivKey
