// Where a chain's time goes: wall-clock time inside each type of node, without the nodes before it.
//
// Units:    nanoseconds; node types as in kiv/chain/NodeTypes.h. Added up over all chains and threads
//           of the process, time spent waiting for another thread too.
// Threads:  any; a call that is entered is left on the same thread.
#pragma once

#include <atomic>
#include <cstdint>

#include "kiv/values/Export.h"

// Begins to measure, all times from 0. Nothing is measured before the first call.
KIV_PLATFORM_API void KivMeasureNodes();
// Whether it was called; what a chain looks at with every call.
KIV_PLATFORM_API extern std::atomic<bool> kivNodesAreMeasured;
// False when the call is not measured and must not be left: nobody asked, a type that is not in the
// table, or a chain of more than a few dozen nodes.
KIV_PLATFORM_API bool KivEnterNode(int32_t type);
KIV_PLATFORM_API void KivLeaveNode();
// 0 for a type that was never entered. What a call under way has spent so far is not in it.
KIV_PLATFORM_API int64_t KivNodeTime(int32_t type);
