// The picture shown in place of media that cannot be read; one for the process.
//
// Threads:  any; the first request looks the picture up, others wait for it.
#pragma once

#include "kiv/platform/Frame.h"

// Null when the named value "NOT_FOUND_JPEG_PATH" names no readable still image. The lookup is made
// once: what it found, or did not find, stays for the life of the process.
KivComPtr<IKivFrame> MissingMediaImage();

// Releases the picture and allows a new lookup.
void ForgetMissingMediaImage();
