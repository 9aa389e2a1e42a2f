#include "kiv/values/Base64.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <vector>

namespace {

std::string Encode(const std::string& bytes) {
  std::string text(Base64EncodedLength(bytes.size()) + 1, '#');
  const size_t length =
      Base64Encode(text.data(), reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  EXPECT_EQ(text.size() - 1, length);
  EXPECT_EQ('\0', text[length]);
  text.resize(length);
  return text;
}

std::string Decode(const std::string& text) {
  std::string bytes(Base64DecodedCapacity(text.size()), '#');
  bytes.resize(Base64Decode(reinterpret_cast<uint8_t*>(bytes.data()), text.c_str()));
  return bytes;
}

struct Pair {
  const char* name;
  std::string bytes, text;
};

const auto kByName = [](const auto& test) { return std::string(test.param.name); };

class Base64Pair : public testing::TestWithParam<Pair> {};

TEST_P(Base64Pair, ConvertsBothWays) {
  EXPECT_EQ(GetParam().text, Encode(GetParam().bytes));
  EXPECT_EQ(GetParam().bytes, Decode(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(Base64, Base64Pair,
                         testing::Values(Pair{"Empty", "", ""}, Pair{"One", "M", "TQ=="},
                                         Pair{"Two", "Ma", "TWE="}, Pair{"Three", "Man", "TWFu"},
                                         Pair{"Four", std::string("\1\2\3\0", 4), "AQIDAA=="},
                                         Pair{"Last", "\xff\xff\xfe", "///+"}),
                         kByName);

class Base64Odd : public testing::TestWithParam<Pair> {};

TEST_P(Base64Odd, DecodesWholeGroupsOnly) { EXPECT_EQ(GetParam().bytes, Decode(GetParam().text)); }

INSTANTIATE_TEST_SUITE_P(Base64, Base64Odd,
                         testing::Values(Pair{"Cut", "Man", "TWFuTW"}, Pair{"TooShort", "", "TWF"},
                                         Pair{"EndsAtPadding", "M", "TQ==TWFu"},
                                         Pair{"OutsideAlphabet", std::string("\0\0\0", 3),
                                              "!\xff*-"},
                                         Pair{"PaddingOnly", std::string("\0", 1), "===="}),
                         kByName);

TEST(Base64All, EveryByteAtEveryPlaceComesBack) {
  for (size_t lead = 0; lead < 3; ++lead) {
    std::string bytes(lead + 256, '\0');
    std::iota(bytes.begin() + static_cast<std::ptrdiff_t>(lead), bytes.end(), '\0');
    EXPECT_EQ(bytes, Decode(Encode(bytes)));
  }
}

}  // namespace
