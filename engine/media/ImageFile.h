// Reads the first picture of a still-image file as straight BGRA.
//
// Units:    sizes in pixels.
// Threads:  any; keeps nothing between calls.
// Errors:   E_NOTFOUND for no file, E_UNSUPPORTED for one that is not a picture, is damaged or is
//           beyond the limits, E_OUTOFMEMORY. Nothing but the named local file is opened.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "kiv/values/Export.h"
#include "kiv/values/ResultCodes.h"
#include "kiv/values/ValueTypes.h"

namespace kiv {

constexpr int64_t kMaxImagePixels = int64_t{256} << 20;
constexpr int64_t kMaxImageFileBytes = int64_t{512} << 20;

// Makes room for straight rows of `size`, orientation applied; null refuses.
using PictureRoom = std::function<uint8_t*(const KivSize& size)>;

KIV_ENGINE_API HRESULT ReadImageFile(const std::wstring& path, const PictureRoom& room);

}  // namespace kiv
