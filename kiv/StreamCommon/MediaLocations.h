// What a media location names: a plain path, "media://" and a path, or "color://" and a colour.
//
// Threads:  any.
// Errors:   a null location, and one that cannot be translated, is neither available nor an image.
#pragma once

#include "kiv/platform/KivComPtr.h"
#include "kiv/platform/PathService.h"

// True when the location names an existing file or directory, or a colour.
bool IsMediaLocationAvailable(const wchar_t* location);

// True when the location names a colour or ends in one of the still-image extensions. The file is
// not looked at.
bool IsImageLocation(const wchar_t* location);

// The service for named values and locations; obtained afresh for each use, null when there is
// none.
KivComPtr<IKivPathService> ObtainPathService();
