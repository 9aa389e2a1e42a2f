// backwards CLIP OUTPUT: plays a clip backwards at half speed, frame by frame and into a file.
#include <cstdint>
#include <cstdio>

#include "session/Clip.h"

using namespace kiv::session;

namespace {

void Show(const Frame& frame) {
  const uint8_t* pixel = frame.Pixels() + frame.Size().height / 2 * frame.Stride();
  std::printf("%.3f s: %s %d, %dx%d, #%02x%02x%02x\n", static_cast<double>(frame.Time()) * 1e-7,
              frame.IsGenerated() ? "generated" : "frame", frame.SourceFrame(), frame.Size().width,
              frame.Size().height, pixel[2], pixel[1], pixel[0]);
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 3) throw SessionError(ErrorCode::kInvalidArgument, "usage: backwards CLIP OUTPUT");
  ClipOptions options;
  options.reverse = true;
  options.speed = Rational{1, 2};
  Clip clip = Clip::Open(argv[1], options);
  for (const Frame& frame : clip.Frames()) Show(frame);
  clip.Export(argv[2]);
} catch (const SessionError& error) {
  std::fprintf(stderr, "backwards: %s\n", error.what());
  return 1;
}
