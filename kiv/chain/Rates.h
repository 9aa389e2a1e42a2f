// How nodes take over frame rates: one that is not above 0, or NaN, means unknown, and the node keeps
// its own.
#pragma once

#include "kiv/base/FrameTime.h"
#include "kiv/chain/Dispatch.h"
#include "kiv/platform/Properties.h"
#include "kiv/values/ValueTypes.h"

namespace kiv {

inline void TakeRate(const KivRational& sent, KivRational* rate) {
  if (IsRate(sent)) *rate = sent;
}

// From a command; E_POINTER without a record.
inline HRESULT TakeRate(const CommandArgs& args, KivRational* rate) {
  const auto* const sent = args.As<const KivRational>();
  if (!sent) return E_POINTER;
  TakeRate(*sent, rate);
  return S_OK;
}

// From a bag, which may be null or lack the key.
inline void ReadRate(IKivProperties* bag, const wchar_t* key, KivRational* rate) {
  KivRational stored;
  if (bag && Succeeded(bag->GetRational(key, &stored))) TakeRate(stored, rate);
}

}  // namespace kiv
