// Files made from a clip's packets: with other time stamps, and what is to be found in them.
//
// Errors:   std::runtime_error: the test environment is broken.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace kivtest {

// Copies the video packets of a file into a Matroska file. `change` is given a packet's number in the
// order of decoding and its time of display in milliseconds, and returns the time that is written.
void Restamp(const std::string& from, const std::string& to,
             const std::function<int64_t(int, int64_t)>& change);

// What the pictures of a video carry that libavcodec decodes from the first packet to the last.
std::vector<int> NumbersInOrder(const std::string& path);

}  // namespace kivtest
