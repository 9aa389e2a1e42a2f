
#include "session/FileChecks.h"

#include <filesystem>
#include <string>
#include <vector>

#include "session/Fail.h"

namespace kiv::session {
namespace {

constexpr char kStandardOutput[] = "-";

// Whether or not it is there yet.
bool SameFile(const std::string& a, const std::string& b) {
  if (a.empty() || b.empty()) return false;
  std::error_code ignored;
  if (std::filesystem::equivalent(a, b, ignored)) return true;
  const auto first = std::filesystem::weakly_canonical(a, ignored);
  return !first.empty() && first == std::filesystem::weakly_canonical(b, ignored);
}

// Numbered pictures take the place of whatever stands under one of their names.
bool IsWrittenOver(const FilesInUse& files, const std::string& file) {
  if (files.form != OutputForm::kPictures || file.empty()) return false;
  const std::filesystem::path pattern = files.output, path = file;
  const auto folderOf = [](const std::filesystem::path& each) {
    std::error_code ignored;
    return std::filesystem::weakly_canonical(each.has_parent_path() ? each.parent_path() : ".",
                                             ignored);
  };
  return MayBePicture(pattern.filename().string(), path.filename().string()) &&
         folderOf(pattern) == folderOf(path);
}

void RefuseWhatPicturesReplace(const FilesInUse& files) {
  const ClipOptions& chain = files.options;
  for (const std::string* file :
       {&files.input, &files.report, &chain.settings, &files.saveSettings, &chain.proxy,
        &chain.cropKeyframes, &chain.alpha.image, &chain.alpha.fullHd, &chain.alpha.over}) {
    if (IsWrittenOver(files, *file)) {
      FailUsage("'{}' has a name that the pictures '{}' may get: give them another", *file,
                files.output);
    }
  }
}

// So that a long render is not lost for a name.
void RequireFolder(const std::string& file) {
  if (file.empty() || file == kStandardOutput) return;
  const auto folder = std::filesystem::path(file).parent_path();
  std::error_code ignored;
  if (!folder.empty() && !std::filesystem::is_directory(folder, ignored)) {
    Fail(ErrorCode::kWriteFailed, "cannot write '{}': there is no folder '{}'", file,
         folder.string());
  }
}

}  // namespace

void CheckFiles(const FilesInUse& files) {
  const ClipOptions& chain = files.options;
  std::vector<std::string> written;
  int toStandardOutput = files.printsResult ? 1 : 0;
  for (const std::string* file : {&files.output, &files.report, &files.saveSettings}) {
    if (*file == kStandardOutput) {
      ++toStandardOutput;
    } else if (!file->empty()) {
      written.push_back(*file);
    }
  }
  if (toStandardOutput > 1) {
    FailUsage("only one of the output, --report and --save-settings can go to standard output");
  }
  for (size_t i = 0; i < written.size(); ++i) {
    const std::string& file = written[i];
    if (SameFile(file, files.input)) {
      FailUsage("the output '{}' is the input itself: give another name", file);
    }
    for (const std::string* read : {&chain.proxy, &chain.cropKeyframes, &chain.alpha.image,
                                    &chain.alpha.fullHd, &chain.alpha.over}) {
      if (SameFile(file, *read)) FailUsage("'{}' is read, so it cannot be written too", file);
    }
    // Settings may be saved where they were loaded from.
    if (file != files.saveSettings && SameFile(file, chain.settings)) {
      FailUsage("the settings '{}' are read, so they cannot be written over", file);
    }
    for (size_t k = 0; k < i; ++k) {
      if (SameFile(file, written[k])) FailUsage("'{}' would be written twice", file);
    }
  }
  RefuseWhatPicturesReplace(files);
  for (const std::string* file : {&files.report, &files.saveSettings}) RequireFolder(*file);
  if (files.form != OutputForm::kNothing) RequireFolder(files.output);
}

}  // namespace kiv::session
