#include "engine/media/read/PaletteTrack.h"

#include <algorithm>

namespace kiv {
namespace {

constexpr size_t kMostPalettes = size_t{32} << 10;

}  // namespace

void PaletteTrack::Note(int32_t number, const AVPacket& packet) {
  size_t bytes = 0;
  const uint8_t* const told = av_packet_get_side_data(&packet, AV_PKT_DATA_PALETTE, &bytes);
  if (!told || bytes != AVPALETTE_SIZE || palettes_.size() >= kMostPalettes) return;
  if (!palettes_.empty() && std::equal(told, told + bytes, palettes_.back().begin())) return;
  from_.push_back(number);
  std::copy(told, told + bytes, palettes_.emplace_back().begin());
}

void PaletteTrack::AddTo(int32_t number, AVPacket* packet) const {
  const auto behind = std::upper_bound(from_.begin(), from_.end(), number);
  if (behind == from_.begin()) return;
  const Palette& palette = palettes_[static_cast<size_t>(behind - from_.begin() - 1)];
  uint8_t* const added = av_packet_new_side_data(packet, AV_PKT_DATA_PALETTE, palette.size());
  if (!added) throw std::bad_alloc();
  std::copy(palette.begin(), palette.end(), added);
}

}  // namespace kiv
