// sheet: every frame of the chain on one picture.

#include <atomic>
#include <memory>

#include "engine/media/Writer.h"
#include "host/Clip.h"
#include "host/Commands.h"
#include "host/HostError.h"
#include "host/Interrupt.h"
#include "host/SheetCanvas.h"

namespace host {
namespace {

constexpr double kTicksPerSecond = 1e7;

std::string LabelOf(int32_t number, IKivFrame& frame) {
  int64_t time = 0;
  frame.GetTime(&time, nullptr);
  return fmt::format("{}  {:.3f}s", number, static_cast<double>(time) / kTicksPerSecond);
}

SheetCanvas DrawSheet(Clip* clip, KivRange range, const SheetLayout& layout) {
  SheetCanvas canvas(layout);
  for (int32_t number = range.start; number <= range.end; ++number) {
    ThrowIfInterrupted();
    if (number > range.start) clip->Advance();
    const auto frame = clip->Pull();
    canvas.Put(number - range.start, frame->GetBitmap(), LabelOf(number, *frame));
  }
  return canvas;
}

void WritePicture(const kiv::OutputPlan& plan, KivSize size, const uint8_t* pixels) {
  std::unique_ptr<kiv::Writer> writer;
  auto error = kiv::OpenWriter(plan, {size}, nullptr, &writer);
  if (!error) error = writer->Write(pixels);
  if (!error) error = writer->Finish();
  if (error) FailRun("{}", *error);
}

}  // namespace

void RunSheet(const Options& options) {
  RefuseWritingOverTheInput(options);
  Clip clip(options.input, options.chain);
  const KivRange range = clip.RangeOf(options.frames, "--frames");
  clip.Seek(range.start);
  const int32_t frames = range.end - range.start + 1;
  const auto layout = LayOutSheet(frames, SizeOf(*clip.Pull()));
  if (!layout) {
    FailUsage("{} frames are too many for one sheet: choose some with --frames", frames);
  }
  const SheetCanvas canvas = DrawSheet(&clip, range, *layout);
  WritePicture(options.plan, layout->sheet, canvas.Pixels());
  if (!options.chain.saveSettings.empty()) clip.SaveSettings(options.chain.saveSettings);
}

}  // namespace host
