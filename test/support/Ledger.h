// Fails every test that leaves an object alive: the component's, the engine's or a fake.
//
// Linked in by every fake; a test that uses none calls UseLedger once.
#pragma once

#include <cstdint>

namespace test {

// Objects alive now, of all kinds.
int64_t LiveObjects();
void UseLedger();

}  // namespace test
