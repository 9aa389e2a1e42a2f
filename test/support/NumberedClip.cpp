#include "test/support/NumberedClip.h"

#include <algorithm>

#include "test/support/TestFolder.h"

namespace kivtest {
namespace {

// A white and a black cell, then the number's bits from the highest down, then its parity twice,
// the second time turned over.
constexpr int kBits = 12;
constexpr int kCells = kBits + 4;
constexpr int kDark = 96;
constexpr int kBright = 160;

int Parity(int number) { return __builtin_popcount(static_cast<unsigned>(number)) & 1; }

bool CellIsWhite(int number, int cell) {
  if (cell < 2) return cell == 0;
  if (cell < 2 + kBits) return ((number >> (kBits + 1 - cell)) & 1) != 0;
  return (Parity(number) != 0) == (cell == 2 + kBits);
}

// Mean brightness of the middle of a cell.
int Brightness(const uint8_t* bgra, int width, int height, int cell) {
  const int left = (2 * cell + 1) * width / (2 * kCells) - width / (8 * kCells);
  const int right = std::max(left + 1, left + width / (4 * kCells));
  int64_t sum = 0;
  int64_t count = 0;
  for (int y = height * 3 / 8; y < std::max(height * 5 / 8, height * 3 / 8 + 1); ++y) {
    for (int x = left; x < right; ++x, ++count) {
      const uint8_t* const pixel = bgra + (int64_t{y} * width + x) * 4;
      sum += (pixel[0] + 2 * pixel[1] + pixel[2]) / 4;
    }
  }
  return static_cast<int>(sum / count);
}

const TestFolder& Folder() {
  static const TestFolder folder;
  return folder;
}

}  // namespace

std::string MakeClip(const ClipRecipe& recipe) {
  static std::vector<ClipRecipe> made;
  const auto known = std::find(made.begin(), made.end(), recipe);
  const auto number = std::to_string(known - made.begin());
  const std::string path = TemporaryPath(number + "." + recipe.container);
  if (known != made.end()) return path;
  EncodeClip(recipe, path);
  made.push_back(recipe);
  return path;
}

std::string TemporaryPath(const std::string& name) { return Folder().Path(name); }

int ReadNumber(const uint8_t* bgra, int width, int height) {
  bool white[kCells];
  for (int cell = 0; cell < kCells; ++cell) {
    const int brightness = Brightness(bgra, width, height, cell);
    if (brightness > kDark && brightness < kBright) return -1;
    white[cell] = brightness >= kBright;
  }
  int number = 0;
  for (int cell = 2; cell < 2 + kBits; ++cell) number = number * 2 + (white[cell] ? 1 : 0);
  for (int cell = 0; cell < kCells; ++cell) {
    if (white[cell] != CellIsWhite(number, cell)) return -1;
  }
  return number;
}

// Above and below the cells something moves, so that pictures really depend on one another.
std::vector<uint8_t> DrawNumber(int number, KivSize size, bool alpha) {
  std::vector<uint8_t> bgra(static_cast<size_t>(size.width) * static_cast<size_t>(size.height) * 4);
  uint8_t* pixel = bgra.data();
  for (int y = 0; y < size.height; ++y) {
    const bool cells = y >= size.height / 4 && y < size.height * 3 / 4;
    for (int x = 0; x < size.width; ++x, pixel += 4) {
      const int moving = (x + y + number * 5) & 255;
      const int value = cells ? (CellIsWhite(number, x * kCells / size.width) ? 235 : 20) : moving;
      pixel[0] = static_cast<uint8_t>(value);
      pixel[1] = static_cast<uint8_t>(value);
      pixel[2] = static_cast<uint8_t>(cells ? value : 255 - moving);
      pixel[3] = alpha && x >= size.width / 2 ? 128 : 255;
    }
  }
  return bgra;
}

}  // namespace kivtest
