// The names of nodes in --chain.
//
// Errors:   SessionError naming the option and what would be right.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/chain/NodeTypes.h"

namespace kiv::session {

std::string_view NameOf(NodeType type);
// Refuses unknown names and a source anywhere but at the start. `text` is the list as it was given.
void CheckNodeNames(std::string_view option, std::string_view text,
                    const std::vector<std::string>& names);
// Of names that were checked, or of a host's own.
std::vector<int32_t> NodeTypesOf(const std::vector<std::string>& names);

}  // namespace kiv::session
