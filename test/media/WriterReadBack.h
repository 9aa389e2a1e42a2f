// Reads written files back with libavformat alone, so a fault of our own decoder cannot hide one of
// the writers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct ReadBack {
  bool opened = false;
  int width = 0, height = 0;
  std::string codec;
  int64_t rateNumerator = 0, rateDenominator = 0;
  int64_t aspectNumerator = 0, aspectDenominator = 0;
  int matrix = 0, primaries = 0, transfer = 0, range = 0;
  int pixelFormat = -1;
  std::vector<double> times;                 // seconds, in display order
  std::vector<std::vector<uint8_t>> pixels;  // BGRA rows of each picture
};

ReadBack ReadVideo(const std::string& path);
std::string ReadBytes(const std::string& path);

// A folder of its own that goes away with the test.
class TestFolder {
 public:
  TestFolder();
  ~TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;

  std::string Path(const std::string& name) const { return folder_ + "/" + name; }
  // Names in the folder, hidden ones included, in order.
  std::vector<std::string> Names() const;

 private:
  std::string folder_;
};
