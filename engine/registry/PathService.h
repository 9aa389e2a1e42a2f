// What the path service answers: the media root and the named values, set by the host.
//
// Threads:  any.
#pragma once

#include <string>

#include "kiv/platform/PathService.h"

namespace kiv {

// The value that names the picture shown in place of missing media.
constexpr const wchar_t* kMissingPictureName = L"NOT_FOUND_JPEG_PATH";

// The folder that "media://" stands for; empty for none, as at first.
KIV_ENGINE_API void SetMediaRoot(const std::wstring& folder);
KIV_ENGINE_API void SetNamedValue(const std::wstring& name, const std::wstring& text);
KIV_ENGINE_API void ClearNamedValue(const std::wstring& name);

// The file path that `location` stands for.
//   media://a/b   root/a/b when that exists or no a/b does, else a/b; E_INVALIDARG when ".." would
//                 leave the root
//   a/b           itself when it exists, else root/a/b when that exists, else itself
//   /a/b          itself, also after media://; so is any location with another scheme
KIV_ENGINE_API HRESULT TranslateLocation(const std::wstring& location, std::wstring* path);

// The creation function of kPathServiceClassId.
HRESULT CreatePathServiceObject(IUnknown* outer, const GUID& iid, void** object);

}  // namespace kiv
