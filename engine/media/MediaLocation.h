// From the locations that hosts name to paths of this machine.
#pragma once

#include <string>

namespace kiv {

// UTF-8. What the path service does not know is taken for a path as it stands. Null gives none.
std::string LocalPathOf(const wchar_t* location);

}  // namespace kiv
