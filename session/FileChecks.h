// Checks that a run writes no file that it reads, and none twice.
#pragma once

#include <string>

#include "session/Api.h"
#include "session/ClipOptions.h"
#include "session/Export.h"

namespace kiv::session {

// What one run reads and writes. Names left empty are not used; "-" is standard output.
struct FilesInUse {
  std::string input;
  ClipOptions options;
  std::string output;
  OutputForm form = OutputForm::kNothing;  // of the output
  std::string report;
  std::string saveSettings;
  bool printsResult = false;  // something else goes to standard output
};

// To be called before anything is opened, so that no long work is lost because of a name.
// Errors:   SessionError: kInvalidArgument for names that collide, kWriteFailed for a folder that is
//           not there.
KIV_SESSION_API void CheckFiles(const FilesInUse& files);

}  // namespace kiv::session
