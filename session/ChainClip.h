// One opened clip with its chain, driven as an editor drives it: decoder, bags and commands go in
// through the facade, frames come out through the render interface.
//
// Units:    frame numbers count the result from 0.
// Owns:     the component's facade, the decoder and the settings bag.
// Threads:  one caller at a time.
// Errors:   SessionError.
#pragma once

#include <string>
#include <vector>

#include "kiv/chain/IKivRender.h"
#include "kiv/component/IKivVideoStreamProcess.h"
#include "kiv/platform/KivCommon.h"
#include "session/ClipOptions.h"
#include "session/Crop.h"
#include "session/Input.h"
#include "session/MeteredDecoder.h"
#include "session/Playback.h"
#include "session/Progress.h"
#include "session/Settings.h"
#include "session/Stabilization.h"
#include "session/Timing.h"

namespace kiv::session {

// A clip whose file is open and whose settings are loaded, before its chain is built.
struct PreparedClip {
  std::string path;
  OpenedInput input;
  KivPropDecorator settings;
  bool isPreset = false;    // an alpha preset
  bool isMeasured = false;  // the settings hold motion data of a clip opened before
};
// `measured` are the settings of a clip opened before with the same options; none reads them.
PreparedClip Prepare(const std::string& path, const ClipOptions& options,
                     KivPropDecorator measured = {});

class ChainClip {
 public:
  // `canvas` (null for none) is the rate and the number of frames that a preset has to fill.
  ChainClip(PreparedClip prepared, const ClipOptions& options, const ResultShape* canvas);

  const std::string& Path() const { return path_; }
  const KivStreamInfo& Info() const { return input_.info; }
  IKivStreamInfo& Stream() const { return *input_.streamInfo.Get(); }
  const ResultShape& Result() const { return result_; }
  const Playback& HowItPlays() const { return playback_; }
  // The types of the chain's nodes, from the source on.
  const std::vector<int32_t>& Nodes() const { return nodes_; }
  InBetween InBetweenFrames() const { return inBetween_; }
  KivDecoderStats DecoderStats() const { return decoder_->Stats(); }
  const MeteredDecoder& Decoder() const { return *decoder_; }
  // Pictures that could not be decoded: nothing came, or another one in their place.
  int64_t LostPictures() const {
    return decoder_->UnreadPictures() + DecoderStats().picturesReplaced;
  }
  // Ends the run when pictures were pulled and every one of the clip's stands for a lost one.
  void RequirePictures() const;
  // Whether a frame pulled stays as it is when the next one is pulled.
  bool FramesStay() const { return framesStay_; }
  // Whether pictures may be transparent.
  bool HasAlpha() const;
  // The picture that fills a preset's shape; null when there is none.
  const KivComPtr<IKivFrame>& Fill() const { return fill_; }
  // Whether the frames of the clip are shown once each, in their order.
  bool IsStretched() const { return shown_.frameCount != input_.info.frameCount; }

  // The sample aspect that shows a pulled picture of `size` in the clip's own shape.
  KivRational SampleAspect(KivSize size) const;

  // Measures the clip's motion unless its settings brought it, or it is not steadied.
  void Stabilize(const ProgressFunction& progress);
  // What it measured, with all settings; none when the clip is not steadied.
  KivPropDecorator MotionData();
  int32_t StabilizationLevel() const { return stabilization_.level; }

  // Shows what playing from the first frame shows there.
  void Seek(int32_t frame);
  void Advance() { Step(1); }
  void Retreat() { Step(-1); }
  // The frame at the position, straight rows, cut to its region.
  KivComPtr<IKivFrame> Pull();

  // When the clip itself shows what the frame, number `number` of the result, shows. A generated
  // picture lies between two of the clip's, and so does its time.
  int64_t SourceTimeOf(IKivFrame& frame, int32_t number) const;
  // The clip's frame that it shows; -1 for one that lies between two.
  int32_t SourceFrameOf(IKivFrame& frame, int32_t number) const;

  // When the frames of `range` are shown and the last one ends, in 100 ns from the first on: none for
  // a result that goes by its rate, which is any but that of a clip with a variable rate, shown as it is.
  std::vector<int64_t> TimesOf(KivRange range) const;

  void SaveSettings(const std::string& path);
  // What SaveSettings writes.
  IKivProperties* CollectSettings();

 private:
  void Step(int32_t count);
  bool IsHeld() const { return position_ > lastBeforeHeld_; }
  HRESULT PullHeld(KivComPtr<IKivFrame>* frame);
  HRESULT SetSpeed(const KivRational& speed);
  FrameTimes TimesOfFrames() const;
  // Where the speed node makes frame `number`.
  InBetweenPlace PlaceOf(int32_t number) const;
  int64_t TimeInBetween(const InBetweenPlace& place) const;
  // The clip's frame that the speed node is given as its frame `given`.
  int32_t FrameGiven(int32_t given) const;
  int32_t FrameRated(int32_t number) const;
  void PlanPlayback(const ClipOptions& options, const ResultShape* canvas);
  void BuildChain(const std::vector<int32_t>& nodes);
  void SetUpSource(const ClipOptions& options);
  void SetUpRender();
  void SetUpNodes(const ClipOptions& options);
  void LoadSettings(const ClipOptions& options);
  void SetUpProxy(const ClipOptions& options);

  const std::string path_;
  OpenedInput input_;
  KivComPtr<MeteredDecoder> decoder_;
  const SettingsTexts kept_;
  const bool isMeasured_;  // its motion, by another clip
  KivPropDecorator settings_;
  bool isPreset_;
  bool durationIsSupplied_ = false;
  KivStreamInfo shown_;  // the input's, as long as it is shown
  KivRange renderRange_;
  Playback playback_;
  Stabilization stabilization_;
  ResultShape result_;
  int32_t position_ = 0;  // of the result; the chain stops at the last frame before those held
  int32_t lastBeforeHeld_ = 0;
  std::vector<int32_t> nodes_;
  InBetween inBetween_ = InBetween::kNotNeeded;
  KivComPtr<IKivVideoStreamProcessInternal> process_;
  KivComPtr<IKivRenderEx> render_;
  KivSize wholeSize_;  // before the cut
  Crop crop_;
  KivComPtr<IKivFrame> fill_;
  bool framesStay_ = false;
  bool analysed_ = false;
};

}  // namespace kiv::session
