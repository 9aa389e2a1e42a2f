#include "engine/media/read/OutputOrder.h"

#include <algorithm>
#include <new>
#include <tuple>

namespace kiv {

bool MayReorder(AVCodecID codec) {
  const AVCodecDescriptor* const descriptor = avcodec_descriptor_get(codec);
  return !descriptor || (descriptor->props & AV_CODEC_PROP_REORDER) != 0;
}

OutputOrder::OutputOrder(const AVCodecParameters& parameters)
    : context_(HoldAv(avcodec_alloc_context3(nullptr))),
      parser_(av_parser_init(parameters.codec_id)),
      counted_(parameters.codec_id == AV_CODEC_ID_H264 || parameters.codec_id == AV_CODEC_ID_HEVC) {
  known_ = parser_ && avcodec_parameters_to_context(context_.get(), &parameters) >= 0;
  if (parser_) parser_->flags |= PARSER_FLAG_COMPLETE_FRAMES;
}

OutputOrder::~OutputOrder() { av_parser_close(parser_); }

void OutputOrder::Add(const AVPacket& packet, int32_t number) {
  if (!known_) return;
  uint8_t* data = nullptr;
  int size = 0;
  parser_->pict_type = AV_PICTURE_TYPE_NONE;
  av_parser_parse2(parser_, context_.get(), &data, &size, packet.data, packet.size, AV_NOPTS_VALUE,
                   AV_NOPTS_VALUE, packet.pos);
  known_ = parser_->pict_type != AV_PICTURE_TYPE_NONE;
  if (!known_) return;
  if (counted_) {
    AddCounted((packet.flags & AV_PKT_FLAG_KEY) != 0, number);
  } else {
    AddTyped(number);
  }
}

// Counts start again at a key picture; one that begins no new count lies above all before it.
void OutputOrder::AddCounted(bool key, int32_t number) {
  const int32_t count = parser_->output_picture_number;
  if (key && !places_.empty() && count <= highest_) ++epoch_;
  const bool isFirst = places_.empty() || places_.back().epoch != epoch_;
  highest_ = isFirst ? count : std::max(highest_, count);
  places_.push_back({epoch_, count, number});
}

void OutputOrder::AddTyped(int32_t number) {
  if (parser_->pict_type == AV_PICTURE_TYPE_B) {
    order_.push_back(number);
    return;
  }
  if (held_) order_.push_back(*held_);
  held_ = number;
}

std::optional<std::vector<int32_t>> OutputOrder::Finish() {
  if (!known_) return std::nullopt;
  if (held_) order_.push_back(*held_);
  held_.reset();
  std::stable_sort(places_.begin(), places_.end(), [](const Place& a, const Place& b) {
    return std::tuple(a.epoch, a.count) < std::tuple(b.epoch, b.count);
  });
  for (const Place& place : places_) order_.push_back(place.packet);
  return std::move(order_);
}

}  // namespace kiv
