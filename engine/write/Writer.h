// Writes rendered pictures to files, streams or nowhere.
//
// What an output name and the options mean is decided first (PlanOutput: the caller's mistakes),
// then the writer is opened, which is where the outside world can fail.
//
// A file appears under its final name only when Finish succeeded: until then it grows under a
// temporary name in the same directory, and a writer that goes away unfinished removes it. Pipes
// and devices are written to directly.
//
// Colours: H.264, HEVC, AV1, VP9 and YUV4MPEG2 hold limited-range YUV, BT.709 from 720 lines or 1280
// columns on, else BT.601, and say so in their tags where the format has any; JPEG holds full-range
// BT.601, as readers expect of it. What is transparent becomes black there; PNG, FFV1 and raw BGRA keep the alpha channel. Pictures with alpha keep it in mov
// (ProRes 4444, unless another codec is asked for) and in webm (VP9 with its alpha layer), as straight
// alpha.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "kiv/values/Export.h"
#include "kiv/values/ValueTypes.h"

namespace kiv {

// One line for the user: what failed, which file, why. Empty when it worked.
using WriteError = std::optional<std::string>;

enum class OutputKind { kDiscard, kEncoded, kPicture, kPictures, kYuv4Mpeg, kRawBgra };
enum class OutputCodec { kNone, kH264, kHevc, kAv1, kVp9, kFfv1, kProRes, kPng, kJpeg };
enum class ChromaSampling { k420, k444 };

constexpr int32_t kQualityUnset = -1;
constexpr int32_t kQualityDefault = 70;
constexpr int32_t kQualityBest = 100;

struct OutputRequest {
  std::string name;    // a path, a path pattern with one %d, "-" (standard output) or "null"
  std::string format;  // empty: by the name's ending
  std::string codec;   // empty: the format's first
  int32_t quality = kQualityUnset;  // 0 worst to 100 best
};

struct OutputPlan {
  OutputKind kind = OutputKind::kDiscard;
  std::string name;
  std::string container;  // libavformat's name of it, for kEncoded
  OutputCodec codec = OutputCodec::kNone;
  // Takes the codec's place for pictures with coverage; kNone: there is nothing better.
  OutputCodec codecWithAlpha = OutputCodec::kNone;
  int32_t quality = kQualityDefault;
  ChromaSampling chroma = ChromaSampling::k420;
};

struct PictureSeries {
  KivSize size;
  KivRational frameRate{25, 1};
  KivRational sampleAspect{1, 1};
  int32_t firstNumber = 0;  // the number of the first picture in a pattern
  std::string soundFile{};  // its sound that fits goes into an encoded output; empty: none
  bool hasAlpha = false;    // pictures may be transparent
  // When each picture is shown, and where the last one ends, in 100 ns from the first on, rising by a
  // millisecond at least; empty: by the frame rate. Encoded outputs keep them.
  std::vector<int64_t> times{};
};

// Threads:  one caller at a time; any thread.
// Errors:   after a failure only destruction is allowed.
class KIV_ENGINE_API Writer {
 public:
  virtual ~Writer() = default;
  // `bgra` holds straight rows of the series' size and is used during the call only.
  virtual WriteError Write(const uint8_t* bgra) = 0;
  // Completes the output and gives it its final name. Called once, last.
  virtual WriteError Finish() = 0;
};

// Touches no file. On failure `plan` is unchanged.
KIV_ENGINE_API WriteError PlanOutput(const OutputRequest& request, OutputPlan* plan);

// What pictures of the series are in the output: some grow to even sides there.
KIV_ENGINE_API KivSize WrittenSize(const OutputPlan& plan, const PictureSeries& series);

// How many sound streams a media file has, and how many of them the output can hold as they are.
struct SoundFit {
  int32_t streams = 0;
  int32_t fitting = 0;
};
// Nothing of a file that cannot be opened.
KIV_ENGINE_API SoundFit SoundThatFits(const OutputPlan& plan, const std::string& path);

// Once `cancelled` (may be null) is set, by any thread, opening and writing give up, also where nobody
// reads what is written; it outlives the writer.
KIV_ENGINE_API WriteError OpenWriter(const OutputPlan& plan, const PictureSeries& series,
                                     const std::atomic<bool>* cancelled,
                                     std::unique_ptr<Writer>* writer);

// Whether `name` is one that a picture of the pattern may get.
KIV_ENGINE_API bool MayBePicture(const std::string& pattern, const std::string& name);

// The file name of picture `number`. `pattern` has exactly one %d, %Nd or %0Nd; %% is a percent.
KIV_ENGINE_API std::string PictureName(const std::string& pattern, int32_t number);

}  // namespace kiv
