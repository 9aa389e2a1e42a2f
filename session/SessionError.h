// The one exception of the session library.
#pragma once

#include <stdexcept>
#include <string>

#include "session/Api.h"

namespace kiv::session {

enum class ErrorCode {
  kFailed,       // the work could not be done; the message says why
  kNotFound,     // a file or folder is not there, or may not be read
  kDamaged,      // a file is damaged or empty
  kUnsupported,  // a file has no video that can be decoded; or a part of this library is missing
  kInvalidArgument,  // an option has a value that does not fit; the message says what would
  kOutOfRange,       // a frame that the result or the clip does not have
  kCancelled,        // a progress function said no
  kNoMemory,
  kWriteFailed,  // an output could not be written; nothing is left of a file
};

// The message is one line for the user. It names files as they were given, and options
// as `kivclip` spells them ("--reverse-range").
//
// Threads:  any; an error does not change.
class KIV_SESSION_API SessionError : public std::runtime_error {
 public:
  SessionError(ErrorCode code, const std::string& message)
      : std::runtime_error(message), code_(code) {}
  ErrorCode Code() const { return code_; }

 private:
  ErrorCode code_;
};

}  // namespace kiv::session
