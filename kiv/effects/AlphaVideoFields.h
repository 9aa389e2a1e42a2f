// What an alpha video is set to, apart from its frames: as the host's record and as the clip's
// settings hold it.
//
// Units:    colours 0xRRGGBB; the gradient's angle in degrees; paths hold at most 259 characters.
// Threads:  one caller at a time.
// Errors:   E_INVALIDARG for a record with a path that does not end; nothing is taken over then.
#pragma once

#include <cstdint>
#include <string>

#include "kiv/chain/CommandIds.h"
#include "kiv/platform/Properties.h"

struct AlphaVideoFields {
  int32_t preset = 0;
  int32_t fullHd = 0;
  int32_t canChangeColour = 0;
  int32_t fillType = 0;
  int32_t singleColour = 0;
  int32_t gradientColour1 = 0;
  int32_t gradientColour2 = 0;
  double gradientAngle = 0;
  double duration = 5.0;
  double pauseTime = 0;
  int32_t loopCount = 0;
  std::wstring fullHdDataPath;
  std::wstring imagePath;

  HRESULT TakeRecord(const AlphaVideoSettings& record);
  // Paths that need more units in UTF-16 are cut, at a whole character.
  void FillRecord(AlphaVideoSettings* record) const;

  void SaveTo(IKivProperties* bag) const;
  // What the bag does not hold stays, and so does a path that it holds as an empty text.
  void ReadFrom(IKivProperties* bag);
  // The same but for the preset switch and the paths.
  void ReadNumbersFrom(IKivProperties* bag);
  // Back to the initial values, the paths excepted.
  void ResetNumbers();
};

// The text under `key`, cut to a path's capacity; empty when there is none.
std::wstring StoredAlphaPath(IKivProperties* bag, const wchar_t* key);
