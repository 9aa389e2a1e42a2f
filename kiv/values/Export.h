// Marks what the shared libraries export; everything else is hidden.
#pragma once

#define KIV_EXPORT __attribute__((visibility("default")))
#define KIV_VALUES_API KIV_EXPORT
#define KIV_PLATFORM_API KIV_EXPORT
#define KIV_ENGINE_API KIV_EXPORT
