// A stabilizer algorithm, the media that an analysis reads, and the task base's calls made by hand.
// All record what they are asked, fail on request and, by their logs, hold calls.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>

#include "engine/registry/ClassIds.h"
#include "kiv/platform/KeyNames.h"
#include "kiv/platform/Stabilizer.h"
#include "kiv/platform/Tasks.h"
#include "test/support/FakeDecoder.h"
#include "test/support/FakeFilter.h"

namespace test {

// Calls read "Begin 4x2", "Start", "Analyse 7 shows 7", "Collect", "Discard", "SetData 3 from 7",
// "Correct 7 level 10", "Release". A corrected picture shows its number plus 1000.
class FakeStabilizer : public kiv::CountedObject<IKivStabilizerAlgorithm> {
 public:
  static KivComPtr<FakeStabilizer> Make() {
    return KivComPtr<FakeStabilizer>::Adopt(new FakeStabilizer);
  }

  HRESULT Begin(const KivSize* size) override {
    const std::string height = std::to_string(size->height);
    return log.Add("Begin " + std::to_string(size->width) + "x" + height, beginResult);
  }
  HRESULT StartAnalysis() override {
    const std::lock_guard held(lock_);
    measured_ = {};
    return log.Add("Start");
  }
  HRESULT AnalyseFrame(IKivFrame* frame, int32_t index) override {
    {
      const std::lock_guard held(lock_);
      if (measured_.motions.empty()) measured_.first = index;
      measured_.last = index;
      measured_.motions.push_back({index / 10.0, -1, 0.5});
    }
    const int32_t shown = NumberIn(KivComPtr<IKivFrame>(frame));
    return log.Add("Analyse " + std::to_string(index) + " shows " + std::to_string(shown));
  }
  HRESULT CollectResult(StabData* result) override {
    if (!result) return log.Add("Discard");
    const std::lock_guard held(lock_);
    if (measured_.motions.empty()) return log.Add("Collect", S_FALSE);
    *result = measured_;
    measured_ = {};
    return log.Add("Collect");
  }
  HRESULT SetData(const StabData* data) override {
    const std::string count = std::to_string(data->motions.size());
    return log.Add("SetData " + count + " from " + std::to_string(data->first));
  }
  HRESULT CorrectFrame(IKivFrame* in, IKivFrame* out, int32_t index, int32_t level) override {
    const auto shown = static_cast<uint32_t>(NumberIn(KivComPtr<IKivFrame>(in)));
    out->GetBitmap()->Fill(shown + 1000);
    return log.Add("Correct " + std::to_string(index) + " level " + std::to_string(level),
                   correctResult);
  }
  HRESULT ReleaseState() override { return log.Add("Release"); }

  CallLog log;
  HRESULT beginResult = S_OK;
  HRESULT correctResult = S_OK;

 private:
  std::mutex lock_;
  StabData measured_;
};

// A factory whose every file has one stream. Calls read "Open <path> gpu 0", "Stream 0".
class FakeMedia : public kiv::CountedObject<IKivFactory, IKivMediaSource> {
 public:
  static KivComPtr<FakeMedia> Make() { return KivComPtr<FakeMedia>::Adopt(new FakeMedia); }

  HRESULT OpenMediaFile(IKivMediaSource** file, const wchar_t* path,
                        IKivProperties* options) override {
    int32_t gpu = -1;
    options->GetInt(KivKey::Codec::GPU::kGPUFirst, &gpu);
    log.Add("Open " + KivCommon::WChar2Char(path) + " gpu " + std::to_string(gpu));
    if (Failed(openResult)) return openResult;
    *file = KivComPtr<IKivMediaSource>(this).Detach();
    return S_OK;
  }
  HRESULT Open(const wchar_t* /*location*/, int32_t /*flags*/) override { return E_NOTIMPL; }
  HRESULT GetVideoStream(int32_t index, IKivMediaDecoder** stream) override {
    log.Add("Stream " + std::to_string(index));
    if (index != 0) return E_NOTFOUND;
    *stream = KivComPtr<IKivMediaDecoder>(decoder ? decoder : FakeDecoder::Make()).Detach();
    return S_OK;
  }
  IUnknown* AsUnknown() { return static_cast<IKivFactory*>(this); }
  uint32_t References() { return AddRef(), Release(); }

  CallLog log;
  HRESULT openResult = S_OK;
  // Without one, each stream is a decoder of its own.
  KivComPtr<FakeDecoder> decoder = FakeDecoder::Make();
};

// A run as the task base makes it, on the caller's thread. At most `steps` steps, then a stop.
inline enumTaskState DriveTask(IKivTaskable& task, int steps = 1000) {
  task.onCreate();
  if (task.onStart() == 0) return enumTaskState::kStopped;
  task.onRunning();
  for (KivTaskProgress progress; progress.done == 0;) {
    if (steps-- == 0) {
      task.onStop();
      return enumTaskState::kStopped;
    }
    task.onProcess(&progress);
  }
  task.onComplete();
  return enumTaskState::kFinished;
}

}  // namespace test
