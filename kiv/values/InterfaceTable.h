// Which interfaces the values of this process hold, so that an address in a text can be told from a
// live interface.
//
// Owns:     one reference for each Hold, given back by Release.
// Threads:  any.
// Locks:    one leaf lock. AddRef is called under it, Release never: that may run a destructor
//           which comes back here.
#pragma once

#include <cstdint>

#include "kiv/values/Unknown.h"

namespace kiv::InterfaceTable {

// The caller has a reference of its own. Null is ignored.
void Hold(IUnknown* interface);
// A further reference when some value holds the interface at `address`, else null.
IUnknown* HoldKnown(uint64_t address);
void Release(IUnknown* interface);
// A reference for the caller, not entered in the table; null unless some value holds the interface.
IUnknown* Borrow(uint64_t address);

}  // namespace kiv::InterfaceTable
