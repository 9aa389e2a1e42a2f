#include "session/Picture.h"

#include <memory>

#include "session/Convert.h"
#include "session/ExportRun.h"
#include "session/Fail.h"

namespace kiv::session {

void WritePicture(const std::string& path, Size size, const uint8_t* bgra) {
  std::unique_ptr<kiv::Writer> writer;
  const kiv::PictureSeries series{ToKiv(size)};
  auto error =
      kiv::OpenWriter(PlanOf({path, path == "-" ? "png" : "", {}, {}}), series, nullptr, &writer);
  if (!error) error = writer->Write(bgra);
  if (!error) error = writer->Finish();
  if (error) Fail(ErrorCode::kWriteFailed, "{}", *error);
}

}  // namespace kiv::session
