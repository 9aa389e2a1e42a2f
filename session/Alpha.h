// A clip as a preset alpha video: what the options say and, where they are silent, what the clip's
// settings hold, and how long the result is that the preset fills.
//
// Units:    frames of the clip count at its own rate.
// Errors:   SessionError when options do not fit each other, or name files that cannot be used.
#pragma once

#include "kiv/component/IKivVideoStreamProcess.h"
#include "kiv/platform/Media.h"
#include "kiv/platform/Properties.h"
#include "session/ClipOptions.h"
#include "session/Playback.h"

namespace kiv::session {

// Brings the options into the clip's settings. Whether the clip is a preset then.
bool StoreAlpha(const ClipOptions& options, IKivProperties* settings);

// Gives settings without a preset's duration the file's, for the nodes to load. False when they have one.
bool SupplyDuration(const KivStreamInfo& info, IKivProperties* settings);
// What was supplied is not saved: it would be rounded, and hold for another file as well.
void RemoveDuration(IKivProperties* settings);

// What is shown instead of the clip's own frames.
struct AlphaLength {
  int32_t clipFrames = 0;    // as many of the clip's as the chain's nodes count
  KivRange renderRange;      // the same at the result's rate
  int32_t resultFrames = 0;  // after speed; 0: as many as there are
};
// `wanted` (0: the preset's own length) frames of the result at the playback's rate and speed.
AlphaLength LengthFor(int32_t wanted, const Playback& playback, const KivStreamInfo& info);

// Whether the settings fill the shape with an image: they name one and no colour.
bool FillsWithImage(IKivProperties* settings);

// The image as the chain prepares it for its frames: the alpha node hands it out in place of the
// preset. Leaves the chain as if nothing had been shown yet.
KivComPtr<IKivFrame> PreparedImage(IKivVideoStreamProcessInternal& process);

}  // namespace kiv::session
