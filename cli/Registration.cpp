// register and unregister: the component that came with this program.

#include "cli/Commands.h"
#include "session/ComponentLoader.h"

namespace host {

void RunRegister() { ComponentLoader::Own().Register(); }

void RunUnregister() { ComponentLoader::Own().Unregister(); }

}  // namespace host
