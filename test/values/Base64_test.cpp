#include "kiv/values/Base64.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>

namespace {

std::string Encode(const std::string& bytes) {
  std::string text(Base64EncodedLength(bytes.size()) + 1, '#');
  const size_t length =
      Base64Encode(text.data(), reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  EXPECT_EQ(text.size(), text.find('\0') + 1);
  return text.substr(0, length);
}

std::string Decode(const std::string& text) {
  std::string bytes(Base64DecodedCapacity(text.size()), '#');
  bytes.resize(Base64Decode(reinterpret_cast<uint8_t*>(bytes.data()), text.c_str()));
  return bytes;
}

using Pair = std::pair<std::string, std::string>;

TEST(Base64, ConvertsBothWays) {
  const Pair kCases[] = {{"", ""}, {"M", "TQ=="}, {"Ma", "TWE="}, {"\xff\xff\xfe", "///+"}};
  for (const auto& [bytes, text] : kCases) {
    EXPECT_EQ(text, Encode(bytes));
    EXPECT_EQ(bytes, Decode(text));
  }
  for (size_t lead = 0; lead < 3; ++lead) {
    std::string bytes(lead + 256, '\0');
    std::iota(bytes.begin() + static_cast<std::ptrdiff_t>(lead), bytes.end(), '\0');
    EXPECT_EQ(bytes, Decode(Encode(bytes))) << "every byte at every place";
  }
}

TEST(Base64, DecodesWholeGroupsUpToThePadding) {
  const Pair kCases[] = {{"Man", "TWFuTW"},
                         {"", "TWF"},
                         {"M", "TQ==TWFu"},
                         {std::string(3, '\0'), "!\xff*-"},
                         {std::string(1, '\0'), "===="}};
  for (const auto& [bytes, text] : kCases) EXPECT_EQ(bytes, Decode(text)) << text;
}

}  // namespace
