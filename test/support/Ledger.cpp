#include "test/support/Ledger.h"

#include <gtest/gtest.h>

#include "engine/common/CountedObject.h"
#include "kiv/component/object/ModuleCount.h"

namespace test {
namespace {

class LedgerListener : public testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& /*info*/) override { before_ = LiveObjects(); }
  void OnTestEnd(const testing::TestInfo& /*info*/) override {
    EXPECT_EQ(before_, LiveObjects()) << "objects outlive their test";
  }

  int64_t before_ = 0;
};

[[maybe_unused]] const bool kListening = [] {
  testing::UnitTest::GetInstance()->listeners().Append(new LedgerListener);
  return true;
}();

}  // namespace

int64_t LiveObjects() { return scombase::LiveObjects() + kiv::LiveObjectCount(); }

void UseLedger() {}

}  // namespace test
