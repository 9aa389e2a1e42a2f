// Writes grey pictures, and reads written files back with libavformat alone, so a fault of our own
// decoder cannot hide one of the writers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "engine/write/Writer.h"
#include "test/support/TestFolder.h"

struct ReadBack {
  KivSize size;
  std::string codec;
  KivRational rate, aspect;
  std::vector<int> colours;                  // matrix, primaries, transfer, range
  std::vector<double> times;                 // seconds, in display order
  std::vector<std::vector<uint8_t>> pixels;  // BGRA rows of each picture
};

// Video packets in a file.
int CountPictures(const std::string& path);

ReadBack ReadVideo(const std::string& path);

struct Bgra {
  uint8_t b, g, r, a;
};

std::vector<uint8_t> Flat(KivSize size, Bgra colour);

// The grey level that tells the number of a picture.
inline uint8_t GreyOf(int number) { return static_cast<uint8_t>(20 + number % 20 * 10); }

kiv::WriteError WriteGreys(const kiv::OutputPlan& plan, const kiv::PictureSeries& series, int count,
                           int brighter = 0);

// Lossless where the name ends in .mkv. Throws std::runtime_error when it cannot be made.
void WriteGreyClip(const std::string& path, const kiv::PictureSeries& series = {{64, 48}},
                   int count = 20, int brighter = 0);

// One sound stream's packets put together.
struct SoundBack {
  std::string codec;
  double start = 0;  // seconds, of the first packet
  std::string bytes;
};
std::vector<SoundBack> ReadSounds(const std::string& path);

// A file of sound alone: `streams` of 16-bit noise that differs from stream to stream, 1 s from
// `start` seconds on. Throws std::runtime_error when it cannot be made.
void WriteSound(const std::string& path, int streams, double start);
