// The stabilization analysis of one clip, as a host steers it.
#pragma once

#include <cstdint>

#include "kiv/platform/Tasks.h"

// What a callback's state says.
enum class StabCallbackState : int32_t { kRunning = 2, kStopped = 4, kFinished = 5 };

using StabCallback = void (*)(int32_t state, int64_t percent, void* context);

// Reached through the facade's GetStabExtendControl; its references count on the clip. The node never
// starts an analysis: a host does, by Start, once the task is in state 1 or 0 with settings.
//
// Threads:  any. The callback runs on the task's thread. It may steer the task and drop references,
//           but must not call the clip, its render or its nodes: they may be waiting for it.
// Errors:   as IKivTask; SetCallback does not fail.
struct KIV_EXPORT IKivStabExtendControl : IKivTask {
  static constexpr GUID kIid{
      0x19C20127, 0x7E03, 0x327C, {0x17, 0x4A, 0x2B, 0xCE, 0x4C, 0xE6, 0x6A, 0x87}};

  // Called after each frame with state 2 and the percent done, at the end with 5 and 100, when
  // stopped with 4 and 0. Null forgets it; a call that is under way then may still be going on.
  virtual HRESULT SetCallback(StabCallback callback, void* context) = 0;  // slot 10
};
