// In which order and at what rate a clip's frames are shown: what the options say and, where they
// are silent, what the clip's settings hold.
//
// Units:    frame numbers of the clip, or of the result from 0.
// Errors:   SessionError when options or settings do not fit the clip.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "kiv/platform/Media.h"
#include "kiv/platform/Properties.h"
#include "session/ClipOptions.h"
#include "session/Stabilization.h"

namespace kiv::session {

struct Playback {
  bool reverse = false;
  KivRange used;  // the clip's frames that the result is made of
  KivRational frameRate;
  bool rated = false;  // the frame rate is made by the rate node
  KivRational speed{1, 1};

  bool IsShifted() const { return speed.numerator != speed.denominator; }
};
Playback PlaybackOf(const ClipOptions& options, IKivProperties* settings,
                    const KivStreamInfo& info);

// When each of the clip's frames starts, in 100 ns, as the rate node is told.
using FrameTimes = std::function<int64_t(int32_t frame)>;

// How many frames the chain gives for a clip, and at what rate. The one place that knows.
struct ResultShape {
  int32_t frameCount = 0;
  KivRational frameRate;
  // The frames that the rate node makes of those used, without a rate node these; played backwards, the
  // last one comes first.
  KivRange rated;
};
ResultShape ResultOf(const Playback& playback, const KivStreamInfo& info, const FrameTimes& times);
// How many frames the rate node makes of the whole clip, beyond 32 bits where they are too many.
int64_t RatedTotal(const Playback& playback, const KivStreamInfo& info);

// What a chain needs in addition to the source and the nodes of its playback.
struct FurtherNodes {
  bool alpha = false;
  bool stabilizer = false;
};
// The nodes named in the options, else those that are needed, from the source on.
std::vector<int32_t> NodesFor(const ClipOptions& options, const Playback& playback,
                              FurtherNodes further);

// Writes a playback other than the plain one into the clip's settings.
void StorePlayback(const Playback& playback, IKivProperties* settings);

// What the chain's nodes are initialized with: `settings` is how to play, `facts` what the stream is.
struct InitialBags {
  KivPropDecorator settings;
  KivPropDecorator facts;
};
InitialBags MakeInitialBags(const Playback& playback, const ResultShape& result,
                            const KivStreamInfo& info, IKivProperties* clipSettings);

// The rate of the clip's own frames.
KivRational SourceRate(const KivStreamInfo& info);

}  // namespace kiv::session
