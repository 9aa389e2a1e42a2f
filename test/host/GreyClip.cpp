#include "test/host/GreyClip.h"

#include <stdexcept>
#include <vector>

#include "engine/media/Writer.h"

namespace {

void Check(const kiv::WriteError& error) {
  if (error) throw std::runtime_error(*error);
}

std::vector<uint8_t> GreyPicture(KivSize size, int level) {
  std::vector<uint8_t> bgra(static_cast<size_t>(size.width * size.height * 4),
                            static_cast<uint8_t>(level));
  for (size_t i = 3; i < bgra.size(); i += 4) bgra[i] = 255;
  return bgra;
}

}  // namespace

void WriteGreyClip(const std::string& path, const GreyClip& clip) {
  kiv::OutputPlan plan;
  Check(kiv::PlanOutput({path, "", path.ends_with(".mkv") ? "ffv1" : ""}, &plan));
  std::unique_ptr<kiv::Writer> writer;
  Check(kiv::OpenWriter(plan, {clip.size, clip.rate, clip.aspect}, nullptr, &writer));
  for (int i = 0; i < clip.pictures; ++i) {
    Check(writer->Write(GreyPicture(clip.size, GreyOf(i) + clip.brighter).data()));
  }
  Check(writer->Finish());
}
