// The stabilizer algorithm: measures how the camera moved, and corrects frames by what it measured.
//
// Units:    shifts in pixels of the source (the size given to Begin), angles in degrees; frame
//           indices are source frames.
// Threads:  any: a clip's frames may be corrected on one thread while another analyses.
// Errors:   a failed call leaves the output frame's content unspecified and everything else as it
//           was.
#pragma once

#include <cstdint>
#include <vector>

#include "kiv/platform/Frame.h"

// How the picture's content moved from the previous frame to this one: a point p, counted from the
// picture's centre with y downwards, went to R(da) x p + (dx, dy), R(da) being
// [cos da, -sin da; sin da, cos da].
struct StabMotion {
  double dx = 0, dy = 0, da = 0;
  friend bool operator==(const StabMotion&, const StabMotion&) = default;
};

// The angle of a frame that begins a new shot: no camera makes it between two frames. Such a frame
// has no motion, and the path before it does not reach across it.
constexpr double kStabCutAngle = 360.0;
constexpr bool IsStabCut(const StabMotion& motion) { return motion.da >= kStabCutAngle; }

struct StabData {
  int32_t first = 0, last = 0;      // the frames that the first and the last entry stand for
  std::vector<StabMotion> motions;  // one for each frame from `first` on; the first is no motion
};

// The correction's strength. Swings that take fewer frames than about 10 x level are removed, slower
// movement stays. The picture is enlarged as its frames need on average times level / 11, and by
// level percent at most; swings that would need more are held back only so far. At 10 that suits
// hand-held footage, from about 30 on the borders limit nothing but the strongest shake. 0 and less
// correct nothing.
constexpr int32_t kStabLevelDefault = 10;
constexpr int32_t kStabLevelMax = 100;

struct KIV_EXPORT IKivStabilizerAlgorithm : IUnknown {
  static constexpr GUID kIid{
      0x24EA62D8, 0x4126, 0x380A, {0x2C, 0x85, 0xAB, 0x44, 0x5E, 0x17, 0x43, 0x1B}};

  // Forgets everything; the source's frames have this size. E_INVALIDARG when a side is below 1.
  virtual HRESULT Begin(const KivSize* frameSize) = 0;  // slot 3
  // Frames follow; data set earlier keep correcting. E_NOTREADY without Begin.
  virtual HRESULT StartAnalysis() = 0;
  // The next frame, at any size of the source's shape. A frame without a picture, or that was passed
  // over, has no motion (S_FALSE). E_INVALIDARG for an index that goes back or leaps far ahead,
  // E_NOTREADY without StartAnalysis.
  virtual HRESULT AnalyseFrame(IKivFrame* frame, int32_t index) = 0;
  // Ends the analysis. The values lie on the grid of 1/10000 that stored data has, so data that was
  // stored and loaded corrects as data just collected. S_FALSE, with `result` untouched, when no
  // frame was analysed. Null discards what was measured.
  virtual HRESULT CollectResult(StabData* result) = 0;
  // The data to correct frames by, copied; null or no entries forgets them.
  virtual HRESULT SetData(const StabData* data) = 0;
  // Writes `input`, corrected, into `output`: another frame, with memory of the same size, whose
  // time and index are left alone. The same input, index, data and level give the same picture.
  // E_NOTREADY without data, E_NOTFOUND for an index that lies more than kStabIndexTolerance
  // outside them, E_INVALIDARG for frames that do not fit.
  virtual HRESULT CorrectFrame(IKivFrame* input, IKivFrame* output, int32_t index,
                               int32_t level) = 0;
  virtual HRESULT Reserved9() { return E_NOTIMPL; }
  // Releases working memory and data. The object answers as a new one afterwards.
  virtual HRESULT ReleaseState() = 0;  // slot 10
};

// How many frames outside the data an index may lie; the nearest entry serves it.
constexpr int32_t kStabIndexTolerance = 3;

constexpr GUID kStabilizerAlgorithmClassId{
    0xF04D160D, 0xB15A, 0xDEA8, {0xB6, 0x06, 0x41, 0x41, 0xBD, 0xD6, 0x7E, 0x95}};
