// Fails every test that leaves an object alive: the component's, the engine's or a fake.
//
// Included by every fake; that alone makes it work.
#pragma once

#include <gtest/gtest.h>

#include "engine/base/CountedObject.h"
#include "kiv/object/ModuleCount.h"

namespace test {

class LedgerListener : public testing::EmptyTestEventListener {
  static int64_t Alive() { return scombase::LiveObjects() + kiv::LiveObjectCount(); }
  void OnTestStart(const testing::TestInfo& /*info*/) override { before_ = Alive(); }
  void OnTestEnd(const testing::TestInfo& /*info*/) override {
    EXPECT_EQ(before_, Alive()) << "objects outlive their test";
  }

  int64_t before_ = 0;
};

inline const bool kLedgerListens = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new LedgerListener);
  return true;
}();

}  // namespace test
