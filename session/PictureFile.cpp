#include "session/PictureFile.h"

#include "session/Fail.h"

namespace host {

void WritePicture(const kiv::OutputPlan& plan, KivSize size, const uint8_t* bgra) {
  std::unique_ptr<kiv::Writer> writer;
  const kiv::PictureSeries series{size};
  auto error = kiv::OpenWriter(plan, series, nullptr, &writer);
  if (!error) error = writer->Write(bgra);
  if (!error) error = writer->Finish();
  if (error) FailRun("{}", *error);
}

}  // namespace host
