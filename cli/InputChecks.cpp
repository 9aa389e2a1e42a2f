#include "cli/InputChecks.h"

#include <filesystem>
#include <string>
#include <vector>

#include "engine/write/Writer.h"
#include "session/Fail.h"

namespace host {
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
bool IsWrittenOver(const Options& options, const std::string& file) {
  if (options.plan.kind != kiv::OutputKind::kPictures || file.empty()) return false;
  const std::filesystem::path pattern = options.output, path = file;
  const auto folderOf = [](const std::filesystem::path& each) {
    std::error_code ignored;
    return std::filesystem::weakly_canonical(each.has_parent_path() ? each.parent_path() : ".",
                                             ignored);
  };
  return kiv::MayBePicture(pattern.filename().string(), path.filename().string()) &&
         folderOf(pattern) == folderOf(path);
}

void RefuseWhatPicturesReplace(const Options& options) {
  const ChainOptions& chain = options.chain;
  for (const std::string* file :
       {&options.input, &options.report, &chain.settings, &chain.saveSettings, &chain.proxy,
        &chain.cropKeyframes, &chain.alpha.image, &chain.alpha.fullHd, &chain.alpha.over}) {
    if (IsWrittenOver(options, *file)) {
      FailUsage("'{}' has a name that the pictures '{}' may get: give them another", *file,
                options.output);
    }
  }
}

// So that a long render is not lost for a name.
void RequireFolder(const std::string& file) {
  if (file.empty() || file == kStandardOutput) return;
  const auto folder = std::filesystem::path(file).parent_path();
  std::error_code ignored;
  if (!folder.empty() && !std::filesystem::is_directory(folder, ignored)) {
    FailRun("cannot write '{}': there is no folder '{}'", file, folder.string());
  }
}

}  // namespace

KivRange ResolveRange(const FrameSpan& span, const char* option, const char* whole,
                      int32_t frameCount) {
  const int32_t last = span.last.value_or(frameCount - 1);
  if (span.first >= frameCount || last >= frameCount) {
    FailUsage("{} goes beyond the {}, which has the frames 0 to {}", option, whole, frameCount - 1);
  }
  return {span.first, last};
}

KivRange ResolveFrames(const FrameSpan& span, const char* option, int32_t frameCount) {
  return ResolveRange(span, option, "result", frameCount);
}

void CheckFiles(const Options& options) {
  const ChainOptions& chain = options.chain;
  std::vector<std::string> written;
  int toStandardOutput = options.command == Command::kVerify ? 1 : 0;
  for (const std::string* file : {&options.output, &options.report, &chain.saveSettings}) {
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
    if (SameFile(file, options.input)) {
      FailUsage("the output '{}' is the input itself: give another name", file);
    }
    for (const std::string* read : {&chain.proxy, &chain.cropKeyframes, &chain.alpha.image,
                                    &chain.alpha.fullHd, &chain.alpha.over}) {
      if (SameFile(file, *read)) FailUsage("'{}' is read, so it cannot be written too", file);
    }
    // Settings may be saved where they were loaded from.
    if (file != chain.saveSettings && SameFile(file, chain.settings)) {
      FailUsage("the settings '{}' are read, so they cannot be written over", file);
    }
    for (size_t k = 0; k < i; ++k) {
      if (SameFile(file, written[k])) FailUsage("'{}' would be written twice", file);
    }
  }
  RefuseWhatPicturesReplace(options);
  for (const std::string* file : {&options.report, &chain.saveSettings}) RequireFolder(*file);
  if (options.plan.kind != kiv::OutputKind::kDiscard) RequireFolder(options.output);
}

}  // namespace host
