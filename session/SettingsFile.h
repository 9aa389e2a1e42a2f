// The texts that a front end keeps in a clip's settings file in addition to the settings.
#pragma once

#include <memory>
#include <string>

#include "session/Api.h"

namespace kiv::session {

// Owns:     a share of what was read; the file is closed.
// Threads:  any.
// Errors:   SessionError naming the file and what is wrong with it.
class KIV_SESSION_API SettingsFile {
 public:
  static SettingsFile Read(const std::string& path);
  // Empty when there is none. ClipOptions::kept writes them.
  std::string Text(const std::string& key) const;

 private:
  struct Impl;
  explicit SettingsFile(std::shared_ptr<const Impl> impl);

  std::shared_ptr<const Impl> impl_;
};

// Replaces a file by a text in one step; "-" is standard output. SessionError as above.
KIV_SESSION_API void WriteTextFile(const std::string& path, const std::string& text);

}  // namespace kiv::session
