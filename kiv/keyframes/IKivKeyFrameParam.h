// The interface of a keyframed parameter: a value that changes over the frames.
//
// Units:    frame index int32, negative ones included; a position counts the keyframes from 0.
// Threads:  any; every operation is complete on its own. GetSpline's record is the parameter's own.
// Errors:   1 or true when done, 0 or false when there is no such keyframe or it holds a value of the
//           other kind; the out value is then untouched. A record that is null is refused likewise.
#pragma once

#include <cstdint>

#include "kiv/platform/KivComPtr.h"
#include "kiv/platform/Properties.h"
#include "kiv/values/ValueTypes.h"

enum class KeyFrameKind : int32_t { kNone = 0, kRectF = 1, kDouble = 2 };

struct KeyFrameDouble {
  int32_t index = 0;
  double value = 0;
  friend bool operator==(const KeyFrameDouble&, const KeyFrameDouble&) = default;
};

struct KeyFrameRectF {
  int32_t index = 0;
  KivRectF value;
  friend bool operator==(const KeyFrameRectF&, const KeyFrameRectF&) = default;
};

// Kept and stored for the host; values are interpolated linearly whatever it says.
struct KeyFrameSpline {
  uint32_t degree = 0;
  uint32_t type = 0;
};

struct KIV_EXPORT IKivKeyFrameParam : IUnknown {
  static constexpr GUID kIid{
      0x91C71611, 0x4D48, 0x41AF, {0x88, 0x8D, 0x0D, 0x4A, 0xA3, 0xA7, 0x68, 0xFE}};

  // Replaces the keyframes by those of the document stored in `bag` under `name` (see KeyFrameJson.h
  // for the keys). 1 as well when the bag holds none; 0 when the bag is null or the document is
  // refused: no keyframe is left then.
  virtual int32_t Load(const wchar_t* name, KivComPtr<IKivProperties> bag) = 0;  // slot 3
  // Overwrites index and value; the order of the keyframes stays as it is.
  virtual int32_t SetKeyFrameAt(int32_t position, const KeyFrameDouble* frame) = 0;
  virtual int32_t SetKeyFrameAt(int32_t position, const KeyFrameRectF* frame) = 0;
  // Replaces the value of the keyframe with that index, or puts a new one in its place in order.
  virtual void AddKeyFrame(const KeyFrameDouble* frame) = 0;
  virtual void AddKeyFrame(const KeyFrameRectF* frame) = 0;
  // At any frame: a keyframe's own value, or between two of them; the first's before, the last's
  // after them. Values have six decimals, as their texts have.
  virtual bool GetValueAt(int32_t frame, double* value) = 0;  // slot 8
  virtual bool GetValueAt(int32_t frame, KivRectF* value) = 0;
  virtual int32_t GetKeyFrameAt(int32_t position, KeyFrameDouble* frame) = 0;
  virtual int32_t GetKeyFrameAt(int32_t position, KeyFrameRectF* frame) = 0;
  // The first one with that index.
  virtual int32_t GetKeyFrame(int32_t index, KeyFrameDouble* frame) = 0;  // slot 12
  virtual int32_t GetKeyFrame(int32_t index, KeyFrameRectF* frame) = 0;
  virtual void SetSpline(const KeyFrameSpline* spline) = 0;
  virtual const KeyFrameSpline* GetSpline() = 0;
  virtual int32_t GetKeyFrameCount() = 0;  // slot 16
  virtual void RemoveKeyFrameAt(int32_t position) = 0;
  virtual void RemoveKeyFrame(int32_t index) = 0;
  virtual void RemoveAllKeyFrames() = 0;
};
