// The engine's functions that the component calls.
#pragma once

#include <cstdint>
#include <string>

#include "kiv/platform/Filters.h"
#include "kiv/platform/Frame.h"
#include "kiv/platform/Media.h"
#include "kiv/platform/Properties.h"

namespace KivCommon {

namespace Const {
// The largest frame index, and the range of a clip whose length is not known.
constexpr int32_t FRAMEINDEX_MAX = INT32_MAX;
constexpr KivRange RANGE_INFINITY{0, FRAMEINDEX_MAX};
}  // namespace Const

// Makes an object of a registered class. `context` is 0 or 1 and not interpreted.
KIV_PLATFORM_API HRESULT GetInterface(const GUID& classId, IUnknown* outer, uint32_t context,
                                      const GUID& iid, void** object);
// The media factory; `name` is null. Null when there is none.
KIV_PLATFORM_API KivComPtr<IKivFactory> GetFactory(const wchar_t* name);
// A new, empty bag; without one when memory runs out.
KIV_PLATFORM_API KivPropDecorator CreateProperties();

// The pixels of a frame, for a caller that keeps no pointer: it is good until the frame changes or
// goes. Cheaper than the frame's own GetPixels, after which a frame no longer shares memory with its
// copies. Null when there is no frame or it holds no picture.
KIV_PLATFORM_API const void* ReadPixels(IKivFrame* frame);
// The same for a caller that writes every pixel: what is there before is unspecified. Null also when
// memory runs out.
KIV_PLATFORM_API void* PixelsToFill(IKivFrame* frame);

// A BGRA frame of the wanted size. `frame` itself when it has that size already (it is then to be
// refilled: whoever holds it sees that), else a new one; in both cases `frame` holds the result too.
// Null, with `frame` untouched, when the size is invalid or memory runs out.
KIV_PLATFORM_API KivComPtr<IKivFrame> CreateBGRAFrameFrom(KivComPtr<IKivFrame>& frame,
                                                          const KivSize& size,
                                                          KivCGMemoryType type);
// The same with the size of `shape`. Null when shape holds no picture.
KIV_PLATFORM_API KivComPtr<IKivFrame> CreateBGRAFrameFrom(KivComPtr<IKivFrame>& frame,
                                                          IKivFrame* shape, KivCGMemoryType type);

// trunc(index x 10^7 / rate), saturated; 0 for a rate that is 0 or NaN.
KIV_PLATFORM_API int64_t FrameNumberToPTS(int32_t index, double rate);

KIV_PLATFORM_API KivComPtr<IKivCGFilterManager> GetCGFilterManager();
KIV_PLATFORM_API KivComPtr<IKivCGDevice> GetCGDevice();

namespace ImageFunc {
// Null when the file is missing or is not a picture.
KIV_PLATFORM_API KivComPtr<IKivBitmap> CreateBitmapFromFile(const wchar_t* path);
KIV_PLATFORM_API KivComPtr<IKivBitmap> InitBitmap(int32_t width, int32_t height);
// Scales `source` into the whole of `target`. `processor` may be null; `resizeType` is 0.
KIV_PLATFORM_API HRESULT ResizeImage(IUnknown* processor, IKivBitmap* source, IKivBitmap* target,
                                     int32_t resizeType);
}  // namespace ImageFunc

namespace Guid {
// Copies `text` without its braces, cut to `capacity` characters and terminated.
KIV_PLATFORM_API void RemoveBraces(const wchar_t* text, wchar_t* buffer, int32_t capacity);
}  // namespace Guid

namespace Dbg {
// A still picture as a frame; any picture format, not BMP alone. Null when it cannot be read.
KIV_PLATFORM_API KivComPtr<IKivFrame> LoadVideoFrameFromBmpFile(const wchar_t* path);
}  // namespace Dbg

// UTF-8 to wide and back. Malformed input gives U+FFFD, never a failure.
KIV_PLATFORM_API std::wstring Char2WChar(const char* text);
KIV_PLATFORM_API std::string WChar2Char(const wchar_t* text);

}  // namespace KivCommon
