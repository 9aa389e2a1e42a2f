// One opened clip behind its chain, driven as an editor drives it: decoder, bags and commands go in
// through the facade, frames come out through the render interface.
//
// Units:    frame numbers count the result from 0.
// Owns:     the component's facade, the decoder and the settings bag.
// Threads:  one caller at a time.
// Errors:   HostError.
#pragma once

#include <string>
#include <vector>

#include "host/Crop.h"
#include "host/KeptOptions.h"
#include "host/MeteredDecoder.h"
#include "host/Options.h"
#include "host/Overlay.h"
#include "host/Playback.h"
#include "host/Stabilization.h"
#include "host/Timing.h"
#include "kiv/chain/IKivRender.h"
#include "kiv/component/IKivVideoStreamProcess.h"
#include "kiv/platform/KivCommon.h"

namespace host {

// The first video stream of a file, as info needs it: without a chain.
struct OpenedInput {
  KivComPtr<IKivMediaDecoder> decoder;
  KivComPtr<IKivStreamInfo> streamInfo;
  KivStreamInfo info;
};
OpenedInput OpenInput(const std::string& path, const char* what = "the input");
// What an editor would say about a file that is not there, before any library is asked.
void CheckFile(const std::string& path, const char* what);

// The sample aspect that shows a picture of `size` in the clip's own shape.
KivRational OutputSampleAspect(const KivStreamInfo& info, KivSize size);

class Clip {
 public:
  // `measured` are the motion data of a clip opened before with the same options, none without.
  Clip(const std::string& input, const ChainOptions& options, KivPropDecorator measured = {});

  const KivStreamInfo& Info() const { return input_.info; }
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
  bool FramesStay() const { return framesStay_ || overlay_.IsOn(); }
  // Whether pictures may be transparent.
  bool HasAlpha() const;
  // The clip that the pictures are laid over; null when there is none.
  const Clip* Footage() const { return overlay_.Footage(); }
  // Whether the frames of the clip are shown once each, in their order.
  bool IsStretched() const { return shown_.frameCount != input_.info.frameCount; }

  // The sample aspect that shows a pulled picture of `size` in the clip's own shape.
  KivRational SampleAspect(KivSize size) const;

  // Measures the clip's motion unless its settings brought it, or it is not steadied.
  void Stabilize(ProgressForm progress);
  // What it measured, with all settings; none when the clip is not steadied.
  KivPropDecorator MotionData();
  // What the progress of the frames is called, behind that of an analysis; null without one.
  const char* Stage() const { return analysed_ ? "render" : nullptr; }
  int32_t StabilizationLevel() const { return stabilization_.level; }

  // Shows what playing from the first frame shows there.
  void Seek(int32_t frame);
  void Advance() { Step(1); }
  void Retreat() { Step(-1); }
  // The frame at the position, straight rows, cut to its region, laid over the footage.
  KivComPtr<IKivFrame> Pull();

  // When the clip itself shows what the frame, number `number` of the result, shows. A generated
  // picture lies between two of the clip's, and so does its time.
  int64_t SourceTimeOf(IKivFrame& frame, int32_t number) const;

  // When the frames of `range` are shown and the last one ends, in 100 ns from the first on: none for
  // a result that goes by its rate, which is any but that of a clip with a variable rate, shown as it is.
  std::vector<int64_t> TimesOf(KivRange range) const;

  void SaveSettings(const std::string& path);
  // As of the last save.
  IKivProperties* Settings() const { return settings_.Get(); }

 private:
  void CollectSettings();
  void Step(int32_t count);
  bool IsHeld() const { return position_ > lastBeforeHeld_; }
  HRESULT PullHeld(KivComPtr<IKivFrame>* frame);
  HRESULT SetSpeed(const KivRational& speed);
  FrameTimes TimesOfFrames() const;
  int64_t TimeInBetween(int32_t number) const;
  int64_t TimeOfRated(int32_t number) const;
  void PlanPlayback(const ChainOptions& options);
  void OpenFootage(const ChainOptions& options);
  void BuildChain(const std::vector<int32_t>& nodes);
  void SetUpSource(const ChainOptions& options);
  void SetUpRender();
  void SetUpNodes();
  void LoadSettings(const ChainOptions& options);
  void SetUpProxy(const ChainOptions& options);

  const std::string path_;
  OpenedInput input_;
  KivComPtr<MeteredDecoder> decoder_;
  const KeptOptions kept_;
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
  Overlay overlay_;
  bool framesStay_ = false;
  bool analysed_ = false;
};

}  // namespace host
