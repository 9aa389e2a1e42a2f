// A folder of a test's own that goes away with it, and whole files as strings.
#pragma once

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

inline std::string ReadBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline void WriteBytes(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

class TestFolder {
 public:
  TestFolder() {
    if (!mkdtemp(folder_.data())) throw std::runtime_error("no temporary folder");
  }
  ~TestFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  std::string Path(const std::string& name) const { return folder_ + "/" + name; }
  // Names in the folder, hidden ones included, in order.
  std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder_)) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  std::string folder_ = (std::filesystem::temp_directory_path() / "kiv-test-XXXXXX").string();
};
