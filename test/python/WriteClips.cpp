// Writes the numbered clips into a folder, for tests in another language:
//   write_clips --names
//   write_clips FOLDER [--frames N] [NAME...]
// All of them or those named, with N frames instead of their own number if given; and clips.json, which
// says what their frames carry.
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "test/support/ClipsOfEveryKind.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

using kivtest::NamedClip;

// Frame i carries the number first + i.
struct Written {
  NamedClip clip;
  int first = 0;
};

std::vector<Written> AllClips() {
  std::vector<Written> clips;
  for (const NamedClip& clip : kivtest::ClipsOfEveryKind()) clips.push_back({clip});
  // An edit list hides the first ten.
  clips.push_back({{"edit_list", {.gop = 25, .bFrames = 2, .startMilliseconds = -400}}, 10});
  const kivtest::ClipRecipe uneven{
      .gop = 8, .bFrames = 2, .times = {0, 33, 67, 150, 183, 250, 500, 533, 567, 600, 700, 717}};
  const auto in = [&](const char* name, const char* container, const char* codec) {
    NamedClip clip{name, uneven};
    clip.recipe.container = container;
    clip.recipe.codec = codec;
    clips.push_back({clip});
  };
  in("uneven_mkv", "mkv", "libx264");
  in("uneven_mp4", "mp4", "libx264");
  in("uneven_ts", "ts", "libx264");
  in("uneven_hevc", "mp4", "libx265");
  clips.push_back({{"pal8_avi", {.codec = "rawvideo", .container = "avi", .pixelFormat = "pal8"}}});
  clips.push_back({{"grey_mov", {.codec = "qtrle", .container = "mov", .pixelFormat = "gray"}}});
  clips.push_back(
      {{"alpha_mov", {.codec = "qtrle", .container = "mov", .pixelFormat = "argb", .frames = 20}}});
  clips.push_back({{"mpeg4_raw", {.codec = "mpeg4", .container = "m4v", .bFrames = 2}}});
  clips.push_back({{"h264_444", {.pixelFormat = "yuv444p", .bFrames = 2}}});
  clips.push_back(
      {{"intra_refresh", {.frames = 120, .gop = 12, .encoderParameters = "intra-refresh=1"}}});
  clips.push_back(
      {{"png", {.codec = "png", .container = "png", .pixelFormat = "rgb24", .frames = 1}}});
  return clips;
}

void Describe(std::ofstream& out, const Written& written, const std::string& file, bool last) {
  const kivtest::ClipRecipe& recipe = written.clip.recipe;
  out << "  {\"name\": \"" << written.clip.name << "\", \"file\": \"" << file
      << "\", \"frames\": " << recipe.frames - written.first << ", \"first\": " << written.first
      << ", \"rate\": [" << recipe.rate.numerator << ", " << recipe.rate.denominator
      << "], \"size\": [" << recipe.size.width << ", " << recipe.size.height
      << "], \"uneven\": " << (recipe.times.empty() ? "false" : "true") << "}"
      << (last ? "\n" : ",\n");
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> wanted(argv + 1, argv + argc);
  if (wanted.empty()) {
    std::fprintf(stderr, "usage: write_clips --names | FOLDER [--frames N] [NAME...]\n");
    return 2;
  }
  av_log_set_level(AV_LOG_FATAL);
  if (wanted.front() == "--names") {
    for (const Written& written : AllClips()) std::printf("%s\n", written.clip.name);
    return 0;
  }
  const std::string folder = wanted.front();
  wanted.erase(wanted.begin());
  std::vector<Written> clips = AllClips();
  if (wanted.size() > 1 && wanted.front() == "--frames") {
    for (Written& written : clips) written.clip.recipe.frames = std::stoi(wanted[1]);
    wanted.erase(wanted.begin(), wanted.begin() + 2);
  }
  if (!wanted.empty()) {
    std::erase_if(clips, [&](const Written& written) {
      return std::find(wanted.begin(), wanted.end(), written.clip.name) == wanted.end();
    });
  }
  std::ofstream out(folder + "/clips.json");
  out << "[\n";
  for (const Written& written : clips) {
    const std::string file = std::string(written.clip.name) + "." + written.clip.recipe.container;
    kivtest::EncodeClip(written.clip.recipe, folder + "/" + file);
    Describe(out, written, file, &written == &clips.back());
  }
  out << "]\n";
  return out.good() ? 0 : 1;
}
