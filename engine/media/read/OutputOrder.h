// The order in which a decoder outputs a stream's pictures, read from their headers.
//
// Units:    packets are numbered in the order of decoding.
// Owns:     a parser; decodes nothing.
// Threads:  one caller at a time.
// Errors:   nothing for an order that cannot be determined; std::bad_alloc when memory runs out.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "engine/media/read/AvPointers.h"
#include "kiv/values/Export.h"

namespace kiv {

// True for codecs whose pictures may come out in another order than they went in.
KIV_ENGINE_API bool MayReorder(AVCodecID codec);

class KIV_ENGINE_API OutputOrder {
 public:
  explicit OutputOrder(const AVCodecParameters& parameters);
  ~OutputOrder();
  OutputOrder(const OutputOrder&) = delete;
  OutputOrder& operator=(const OutputOrder&) = delete;

  void Add(const AVPacket& packet, int32_t number);
  // The packets as their pictures come out; nothing when some picture's place cannot be told.
  std::optional<std::vector<int32_t>> Finish();

 private:
  struct Place {
    int32_t epoch;  // begins with a picture before which all others are out
    int32_t count;
    int32_t packet;
  };

  void AddCounted(bool key, int32_t number);
  void AddTyped(int32_t number);

  AvPtr<AVCodecContext> context_;
  AVCodecParserContext* parser_ = nullptr;
  const bool counted_;  // pictures carry their place in the order
  bool known_ = true;
  std::vector<Place> places_;
  int32_t epoch_ = 0;
  int32_t highest_ = 0;
  std::optional<int32_t> held_;  // comes out with the next picture that others refer to
  std::vector<int32_t> order_;
};

}  // namespace kiv
