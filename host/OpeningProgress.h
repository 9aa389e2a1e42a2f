// Says how far a file that takes long to open has been read, and stops reading for Ctrl-C.
//
// Threads:  one caller at a time.
// Errors:   E_ABORT once a signal came.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "engine/common/CountedObject.h"
#include "kiv/platform/Media.h"

namespace host {

class OpeningProgress final : public kiv::CountedObject<IKivOpenProgress> {
 public:
  // Silent for as long as `patience` lasts.
  OpeningProgress(std::string path, std::chrono::milliseconds patience)
      : path_(std::move(path)), patience_(patience) {}

  HRESULT OnRead(int64_t bytes, int64_t ofBytes) override;
  // Takes the percentage away.
  void Finish();

 private:
  using Clock = std::chrono::steady_clock;

  const std::string path_;
  const std::chrono::milliseconds patience_;
  const Clock::time_point start_ = Clock::now();
  bool told_ = false;
  int64_t shownPercent_ = -1;
};

}  // namespace host
