// Media sources and decoders: what a host hands to a chain's source.
//
// Units:    time int64 in 100 ns from the first displayed frame; frame counts int32.
// Threads:  one caller at a time for each decoder.
// Errors:   damaged or missing media gives a failure code; nothing is thrown.
#pragma once

#include <cstdint>

#include "kiv/platform/Frame.h"

struct IKivProperties;

// Seek modes. Both reach the same picture.
enum class KivSeekMode : int32_t { kSingle = 0, kReadOnward = 1 };

struct KIV_EXPORT IKivMediaDecoder : IUnknown {
  static constexpr GUID kIid{
      0x2B7D4E90, 0x81C6, 0x4F0A, {0xA3, 0x6D, 0x55, 0x12, 0x9E, 0x0B, 0x7C, 0x34}};

  virtual HRESULT Reserved3() { return E_NOTIMPL; }
  virtual int64_t GetCurrentTime() = 0;
  // Positions on the frame shown at `time`. A time in whole ticks that was truncated from a frame's
  // start names that frame. Times outside the clip are kept: reads then give its first or last frame.
  virtual HRESULT Seek(int64_t time, int32_t mode) = 0;
  // Moves by `count` frames, backwards when negative. `moved` (may be null) receives how many of
  // them stayed inside the clip: 0 at its end.
  virtual HRESULT Skip(int32_t count, int32_t* moved) = 0;
  virtual HRESULT Reserved7() { return E_NOTIMPL; }
  // True reads the clip's own file, false the proxy when one is set. Acts at once.
  virtual HRESULT SetProxyOff(bool off) = 0;
  // An empty or null path forgets the proxy. Acts at once.
  virtual HRESULT SetProxyPath(const wchar_t* path) = 0;
  // The frame at the current position; does not move. The caller's own frame: nobody writes it later.
  virtual HRESULT ReadCurrentFrame(KivComPtr<IKivFrame>* frame) = 0;
};

struct KIV_EXPORT IKivDecoderSize : IUnknown {
  static constexpr GUID kIid{
      0xCC07C575, 0x4BED, 0x415F, {0x9C, 0x3B, 0xAB, 0x28, 0x3C, 0x25, 0x4B, 0x85}};

  // Pictures come out at this size from the next read on. A size with a side below 1 is refused.
  virtual HRESULT SetOutputSize(const KivSize* size) = 0;
  // The size as shown, rotation applied, before any scaling.
  virtual HRESULT GetSourceSize(KivSize* size) = 0;
};

// What a stream is, for hosts. Texts are UTF-8, cut to fit.
struct KivStreamInfo {
  KivSize size;           // as shown, rotation applied
  KivSize codedSize;      // as stored
  KivRational frameRate;  // nominal for constant rates, average for variable ones
  KivRational sampleAspect{1, 1};
  int32_t frameCount = 0;
  int32_t constantRate = 0;  // 1 when every frame lies on the frame rate's grid
  int64_t duration = 0;      // 100 ns
  int32_t rotation = 0;      // degrees clockwise applied when shown: 0, 90, 180, 270
  int32_t keyFrameCount = 0;
  int32_t bitDepth = 8;
  int32_t hasAlpha = 0;
  int32_t audioStreams = 0;
  char codec[32] = {};
  char pixelFormat[32] = {};
  char colourMatrix[16] = {};  // "bt601", "bt709", "bt2020", "rgb"
  char colourRange[16] = {};   // "limited", "full"
  char container[64] = {};
  int32_t picturesBeyondEnd = 0;  // that the container lists behind the end of a file cut off
};

// Counts since the decoder was opened.
struct KivDecoderStats {
  int64_t picturesDecoded = 0;
  int64_t picturesConverted = 0;
  int64_t seeks = 0;
  int64_t cacheBytesAtMost = 0;
  int64_t cacheBytesNow = 0;
  int64_t picturesFromMemory = 0;
  // Decoded on the way from a key frame to the one asked for, or dropped by the codec there.
  int64_t picturesPassedOver = 0;
  // Could not be decoded: a neighbour was given in their place.
  int64_t picturesReplaced = 0;
};

struct KIV_EXPORT IKivStreamInfo : IUnknown {
  static constexpr GUID kIid{
      0x6A51F0C3, 0x0E2B, 0x4D19, {0x8C, 0x77, 0x3B, 0x90, 0xD4, 0x5E, 0x21, 0xF8}};

  virtual HRESULT GetInfo(KivStreamInfo* info) = 0;
  virtual HRESULT GetStats(KivDecoderStats* stats) = 0;
  // Display time, duration (100 ns) and key mark of a frame; any out pointer may be null.
  virtual HRESULT GetFrameTime(int32_t index, int64_t* time, int64_t* duration, int32_t* isKey) = 0;
};

// A decoder that can prepare for being read backwards.
struct KIV_EXPORT IKivReadDirection : IUnknown {
  static constexpr GUID kIid{
      0x3D8E61B4, 0x92A7, 0x4C05, {0x8F, 0x1B, 0x6E, 0xD0, 0x47, 0xA9, 0x53, 0xC2}};

  // It reads correctly either way; told in time, it keeps the first group of pictures as well.
  virtual HRESULT ExpectBackwards(bool backwards) = 0;
};

// A decoder that can be asked for a frame by its number.
struct KIV_EXPORT IKivFrameSeek : IUnknown {
  static constexpr GUID kIid{
      0xA4D20F97, 0x5E3C, 0x4B81, {0x90, 0x6A, 0x2D, 0xF7, 0x81, 0xC4, 0x36, 0xE5}};

  // Positions on frame `index` of the stream, whenever it is shown. S_FALSE, without any effect, when
  // `rate` is not the stream's own: then the caller's numbers stand for times.
  virtual HRESULT SeekFrame(int32_t index, const KivRational* rate, int32_t mode) = 0;
};

// How much memory the decoded pictures take that all decoders of the process keep together.
struct KivPictureMemory {
  int64_t limit = 0;  // bytes
  int64_t bytesNow = 0;
  int64_t bytesAtMost = 0;
};

constexpr GUID kPictureMemoryClassId{
    0xE2749A0D, 0x5B16, 0x4F83, {0xA8, 0x2C, 0x91, 0x3F, 0x70, 0xD6, 0xB5, 0x4E}};

// Each object made speaks for the whole process.
//
// Threads:  any.
struct KIV_EXPORT IKivPictureMemory : IUnknown {
  static constexpr GUID kIid{
      0x7C05F2E8, 0xD431, 0x4A9B, {0xB6, 0x07, 0x18, 0xE5, 0x9D, 0x32, 0xCA, 0x64}};

  // In bytes, 512 MiB unless set; what is beyond a smaller limit is given up at once. Below 0 is
  // refused.
  virtual HRESULT SetLimit(int64_t bytes) = 0;
  virtual HRESULT GetUse(KivPictureMemory* use) = 0;
};

// Told how far the packets of a file that is being opened have been read: the host's own object, put
// into the options of OpenMediaFile under kOpenProgressOption and kept by the file. Calls come from the thread that opens.
struct KIV_EXPORT IKivOpenProgress : IUnknown {
  static constexpr GUID kIid{
      0x91C4E7A6, 0x3B58, 0x4D20, {0xB7, 0x6F, 0x08, 0xD2, 0x5A, 0xE3, 0x94, 0x1B}};

  // About once for 16 MiB. E_ABORT gives the opening up, which then ends with it.
  virtual HRESULT OnRead(int64_t bytes, int64_t ofBytes) = 0;
};
inline constexpr const wchar_t* kOpenProgressOption = L"Open.Progress";

struct KIV_EXPORT IKivMediaSource : IUnknown {
  static constexpr GUID kIid{
      0x18CE6ED3, 0x05F1, 0x1397, {0xBC, 0x75, 0x27, 0xA2, 0x0D, 0x70, 0x3A, 0x9E}};

  // `location` is a path or a "media://" location of a local file.
  virtual HRESULT Open(const wchar_t* location, int32_t flags) = 0;
  virtual HRESULT Reserved4() { return E_NOTIMPL; }
  virtual HRESULT Reserved5() { return E_NOTIMPL; }
  virtual HRESULT Reserved6() { return E_NOTIMPL; }
  virtual HRESULT Reserved7() { return E_NOTIMPL; }
  // Video stream `index` (0 is the first video stream), with a position of its own.
  virtual HRESULT GetVideoStream(int32_t index, IKivMediaDecoder** decoder) = 0;
};

constexpr GUID kMediaSourceClassId{
    0x8C0E7949, 0x611F, 0x8AAA, {0xB0, 0xD3, 0xD0, 0xD2, 0x22, 0x12, 0x02, 0xF6}};

// Makes opened media files.
struct KIV_EXPORT IKivFactory : IUnknown {
  static constexpr GUID kIid{
      0x91E4B2A7, 0x6C3D, 0x47B8, {0xB1, 0x0F, 0x7A, 0x24, 0xC8, 0x5D, 0x93, 0x60}};

  virtual HRESULT Reserved3() { return E_NOTIMPL; }
  virtual HRESULT Reserved4() { return E_NOTIMPL; }
  virtual HRESULT Reserved5() { return E_NOTIMPL; }
  virtual HRESULT Reserved6() { return E_NOTIMPL; }
  virtual HRESULT Reserved7() { return E_NOTIMPL; }
  virtual HRESULT Reserved8() { return E_NOTIMPL; }
  virtual HRESULT Reserved9() { return E_NOTIMPL; }
  virtual HRESULT Reserved10() { return E_NOTIMPL; }
  virtual HRESULT Reserved11() { return E_NOTIMPL; }
  virtual HRESULT Reserved12() { return E_NOTIMPL; }
  // `options` may be null; it holds codec options such as KivKey::Codec::GPU::kGPUFirst, and
  // kOpenProgressOption.
  virtual HRESULT OpenMediaFile(IKivMediaSource** file, const wchar_t* path,
                                IKivProperties* options) = 0;
};
