// register and unregister: the component that came with this program.

#include "host/Commands.h"
#include "host/ComponentLoader.h"

namespace host {

void RunRegister() { ComponentLoader::Own().Register(); }

void RunUnregister() { ComponentLoader::Own().Unregister(); }

}  // namespace host
