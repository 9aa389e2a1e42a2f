// Every command id, its name and what its parameter is.
//
// A pointer parameter points to the sender's value and is used during the call only; a number is
// carried in the parameter itself, widened from int32 with its sign.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "kiv/values/ValueTypes.h"

// X(id, name) in ascending order
#define KIV_COMMANDS(X)                                                  \
  X(0x9C5, SetDecoder)            /* IUnknown of the decoder, or null */ \
  X(0x9C6, EndOfUse)              /* none */                             \
  X(0x9C7, SetSourceFrameRate)    /* const KivRational* */               \
  X(0x9C8, SetRenderFrameRate)    /* const KivRational* */               \
  X(0x9C9, SetCacheRange)         /* const KivRange* */                  \
  X(0x9CA, SetRenderRange)        /* const KivRange* */                  \
  X(0x9CB, SetAlphaImageFill)     /* number */                           \
  X(0x9CC, GetSpeedSettings)      /* SpeedSettings* */                   \
  X(0x9CD, SetSpeedSettings)      /* const SpeedSettings* */             \
  X(0x9CE, SetCacheReverse)       /* number */                           \
  X(0x9EF, GetCropKeyFrameParam)  /* IKivKeyFrameParam** */              \
  X(0x9F0, SetCropRegion)         /* const KivRectF* */                  \
  X(0x9F1, GetCropRegion)         /* KivRectF* */                        \
  X(0x9F2, SetCropEnabled)        /* number */                           \
  X(0x9F3, GetCropEnabled)        /* int32_t* */                         \
  X(0x9F4, SetStabilizerEnabled)  /* number */                           \
  X(0x9F5, GetStabilizerEnabled)  /* int32_t* */                         \
  X(0x9F6, SetStabilizerLevel)    /* number */                           \
  X(0x9F7, GetStabilizerLevel)    /* int32_t* */                         \
  X(0x9F8, GetStabExtendControl)  /* IKivStabExtendControl** */          \
  X(0x9F9, GetStabilizerSettings) /* StabSettings* */                    \
  X(0x9FA, SetStabilizerSettings) /* const StabSettings* */              \
  X(0x9FB, SetAlphaVideoSettings) /* const AlphaVideoSettings* */        \
  X(0x9FC, GetAlphaVideoSettings) /* AlphaVideoSettings* */              \
  X(0x9FD, SetProxyPath)          /* const wchar_t* */                   \
  X(0x9FE, GetProxyPath)          /* wchar_t*, extra is its capacity */  \
  X(0x9FF, SetProxyEnabled)       /* number */                           \
  X(0xA00, GetProxyEnabled)       /* int32_t* */                         \
  X(0xA01, GetScaledSize)         /* KivSize* */                         \
  X(0xA02, GetCroppedSize)        /* KivSizeF* */                        \
  X(0xA03, SetOutputSize)         /* const KivSize* */                   \
  X(0xA04, SetDecodeScale)        /* const KivRational* */

enum class CommandId : uint32_t {
#define KIV_COMMAND_ENUM(id, name) name = id,
  KIV_COMMANDS(KIV_COMMAND_ENUM)
#undef KIV_COMMAND_ENUM
};

struct CommandInfo {
  CommandId id;
  const char* name;
};

constexpr CommandInfo kCommandTable[] = {
#define KIV_COMMAND_INFO(id, name) {CommandId::name, #name},
    KIV_COMMANDS(KIV_COMMAND_INFO)
#undef KIV_COMMAND_INFO
};

constexpr bool CommandsAscend() {
  for (size_t i = 1; i < std::size(kCommandTable); ++i) {
    if (kCommandTable[i - 1].id >= kCommandTable[i].id) return false;
  }
  return true;
}
static_assert(CommandsAscend(), "command ids must be unique and sorted");

// The record of GetSpeedSettings and SetSpeedSettings.
struct SpeedSettings {
  int64_t scaleNumerator = 1;
  int64_t scaleDenominator = 1;
  uint32_t reverse = 0;
  int32_t reverseStart = 0;
  int32_t reverseEnd = 0;
  int32_t notInterpreted[3] = {};
  uint32_t interpolationMode = 0;
};
static_assert(offsetof(SpeedSettings, reverse) == 16);
static_assert(offsetof(SpeedSettings, interpolationMode) == 40);

// The record of GetAlphaVideoSettings and SetAlphaVideoSettings, of one layout everywhere: paths are
// UTF-16, zero-terminated. Colours are 0xRRGGBB, angles degrees, times seconds.
struct AlphaVideoSettings {
  static constexpr size_t kPathCapacity = 260;

  int32_t canChangeColour = 0;
  int32_t fillType = 0;  // 0: the single colour, else the gradient
  int32_t singleColour = 0;
  int32_t padding = 0;
  double gradientAngle = 0;
  int32_t gradientColour1 = 0;
  int32_t gradientColour2 = 0;
  int32_t preset = 0;  // 0: the node passes everything through
  int32_t fullHd = 0;
  char16_t fullHdDataPath[kPathCapacity] = {};
  char16_t imagePath[kPathCapacity] = {};
  int32_t loopCount = 0;
  int32_t padding2 = 0;
  double duration = 5.0;
  double pauseTime = 0;
};
static_assert(offsetof(AlphaVideoSettings, gradientAngle) == 16);
static_assert(offsetof(AlphaVideoSettings, preset) == 32);
static_assert(offsetof(AlphaVideoSettings, fullHdDataPath) == 40);
static_assert(offsetof(AlphaVideoSettings, imagePath) == 560);
static_assert(offsetof(AlphaVideoSettings, loopCount) == 1080);
static_assert(offsetof(AlphaVideoSettings, duration) == 1088);
static_assert(offsetof(AlphaVideoSettings, pauseTime) == 1096);
static_assert(sizeof(AlphaVideoSettings) == 1104);
