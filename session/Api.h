// Marks what the session library exports.
#pragma once

#define KIV_SESSION_API __attribute__((visibility("default")))
