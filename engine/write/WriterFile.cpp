#include "engine/write/WriterFile.h"

#include <fmt/format.h>

#include <system_error>

namespace kiv {

WriteError CannotWrite(const std::string& name, int systemError) {
  const std::string shown = name == "-" ? "standard output" : fmt::format("'{}'", name);
  return fmt::format("cannot write {}: {}", shown, std::generic_category().message(systemError));
}

WriteError WriterFile::Open(const std::string& name) {
  name_ = name;
  const int error = file_.Open(name);
  return error == 0 ? std::nullopt : CannotWrite(name, error);
}

WriteError WriterFile::Told(int systemError) {
  if (systemError == 0) return std::nullopt;
  auto error = CannotWrite(name_, systemError);
  if (!firstError_) firstError_ = error;
  return error;
}

WriteError WriterFile::Write(const void* bytes, size_t count) {
  return Told(file_.Write(bytes, count));
}

WriteError WriterFile::Commit(Durability durability) {
  return firstError_ ? firstError_ : Told(file_.Commit(durability));
}

}  // namespace kiv
