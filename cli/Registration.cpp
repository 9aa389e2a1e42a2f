// register and unregister: the component that came with this program.

#include "cli/Commands.h"
#include "session/Library.h"

namespace cli {

void RunRegister(const Options&) { RegisterComponent(); }

void RunUnregister(const Options&) { UnregisterComponent(); }

}  // namespace cli
