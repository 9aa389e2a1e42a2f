// Keyframes in their order, each with the value that its text reads as.
//
// Owns:     the values.
// Threads:  one caller at a time.
// Errors:   edits may throw bad_alloc and leave the list as it was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <variant>
#include <vector>

#include "kiv/keyframes/IKivKeyFrameParam.h"
#include "kiv/values/CKivValue.h"

namespace kiv {

// Empty for values that are neither a number nor a rectangle.
using KeyFrameNative = std::variant<std::monostate, double, KivRectF>;

struct KeyFrame {
  int32_t index = 0;
  KeyFrameNative native;
  std::unique_ptr<const CKivValue> value;  // never null; the list moves keyframes about
};

KeyFrame MakeKeyFrame(int32_t index, std::unique_ptr<const CKivValue> value);
template <NativeValue T>
KeyFrame MakeKeyFrame(int32_t index, const T& native) {
  auto value = std::make_unique<CKivValue>();
  if (value->SetValue(native) != 0) throw std::bad_alloc();
  return MakeKeyFrame(index, std::unique_ptr<const CKivValue>(std::move(value)));
}

class KeyFrameList {
 public:
  const std::vector<KeyFrame>& Frames() const { return frames_; }
  // Null when there is none.
  const KeyFrame* At(int32_t position) const;
  const KeyFrame* Find(int32_t index) const;

  // Replaces the first one with its index; else the list is in ascending order afterwards.
  void Add(KeyFrame frame);
  // At the end, as they come.
  void Append(std::vector<KeyFrame> frames);
  bool ReplaceAt(int32_t position, KeyFrame frame);
  bool RemoveAt(int32_t position);
  bool Remove(int32_t index);
  void Clear();

  // Empty when there is no value at frame `at`; `kind` says how to go between two keyframes. In an
  // ascending list this takes a number of steps that grows with the logarithm of its length.
  KeyFrameNative ValueAt(int32_t at, KeyFrameKind kind) const;

 private:
  struct Around {
    const KeyFrame* here = nullptr;      // the first one with the index
    const KeyFrame* previous = nullptr;  // the last one before it
    const KeyFrame* next = nullptr;      // the first one after it
  };
  Around FindAround(int32_t at) const;
  Around ScanAround(int32_t at) const;
  KeyFrame* PlaceOf(int32_t position);
  void CheckOrder();

  std::vector<KeyFrame> frames_;
  bool ascending_ = true;
};

}  // namespace kiv
