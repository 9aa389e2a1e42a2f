// A frame interpolation that blends its two key frames by index. Keeps the contract of CVAlgorithm
// and records what it is asked.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "kiv/platform/Algorithms.h"
#include "test/support/CallLog.h"

namespace test {

// What all of them share with a test. Calls read "Start", "Push 4x2", "Read 1", "Destroy".
struct AlgorithmRecord {
  CallLog log;
  int alive = 0;
  int32_t readResult = 0;
  const void* written = nullptr;    // where the last read put its picture
  FrameInterpolationParams params;  // at the last commit
};

class FakeAlgorithm : public CVAlgorithm {
 public:
  explicit FakeAlgorithm(AlgorithmRecord* record) : record_(record) { ++record_->alive; }
  virtual ~FakeAlgorithm() { --record_->alive; }

  void Destroy(int32_t) override {
    record_->log.Add("Destroy");
    delete this;
  }
  XDictionary* Parameters() override { return &dictionary_; }
  bool Commit() override {
    params_ = static_cast<const FrameInterpolationParams*>(
        dictionary_.Find(kFrameInterpolationParamsKey));
    record_->params = *params_;
    return true;
  }
  bool WantsInput() override { return keys_.size() < 2 || finished_; }
  int32_t Push(const void* pixels, int32_t width, int32_t height, int32_t, int32_t,
               int32_t) override {
    record_->log.Add("Push " + std::to_string(width) + "x" + std::to_string(height));
    const auto* const bytes = static_cast<const uint8_t*>(pixels);
    Key key(bytes, bytes + int64_t{width} * height * 4);
    if (!keys_.empty() && (width_ != width || height_ != height)) keys_.clear();
    if (keys_.size() == 2) keys_.erase(keys_.begin());
    keys_.push_back(std::move(key));
    width_ = width;
    height_ = height;
    finished_ = false;
    return 0;
  }
  int32_t Read(void* pixels, int32_t width, int32_t height, int32_t, int32_t index, int32_t,
               int32_t) override {
    record_->log.Add("Read " + std::to_string(index));
    const int64_t parts = int64_t{params_->inBetweenCount} + 1;
    const bool outside = index < 0 || index > parts || width != width_ || height != height_;
    if (record_->readResult != 0 || keys_.size() < 2 || outside) return -1;
    auto* const bytes = static_cast<uint8_t*>(pixels);
    record_->written = pixels;
    for (size_t i = 0; i < keys_[0].size(); ++i) {
      bytes[i] = static_cast<uint8_t>(
          (keys_[0][i] * (parts - index) + keys_[1][i] * int64_t{index}) / parts);
    }
    finished_ = finished_ || index >= parts - 1;
    return 0;
  }
  int32_t Start(int32_t) override { return record_->log.Add("Start"); }

 private:
  using Key = std::vector<uint8_t>;

  AlgorithmRecord* record_;
  XDictionary dictionary_;
  const FrameInterpolationParams* params_ = nullptr;
  std::vector<Key> keys_;
  int32_t width_ = 0;
  int32_t height_ = 0;
  bool finished_ = false;
};

}  // namespace test
