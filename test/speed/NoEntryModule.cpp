#include "kiv/values/Export.h"

extern "C" KIV_EXPORT int KivSomethingElse();
int KivSomethingElse() { return 1; }
