#include "session/NodeNames.h"

#include <algorithm>
#include <iterator>

#include "session/Fail.h"

namespace kiv::session {
namespace {

struct ChainName {
  std::string_view name;
  NodeType type;
};
constexpr ChainName kChainNames[] = {
    {"source", NodeType::kSource},         {"alpha", NodeType::kAlphaVideo},
    {"stabilizer", NodeType::kStabilizer}, {"cache", NodeType::kFrameCache},
    {"rate", NodeType::kFrameRate},        {"reverse", NodeType::kReverse},
    {"speed", NodeType::kSpeed},           {"crop", NodeType::kCrop}};

NodeType ReadNode(std::string_view option, std::string_view name) {
  const auto* found = std::find_if(std::begin(kChainNames), std::end(kChainNames),
                                   [&](const ChainName& row) { return row.name == name; });
  if (found != std::end(kChainNames)) return found->type;
  std::string names;
  for (const ChainName& row : kChainNames) {
    names.append(names.empty() ? "" : ", ").append(row.name);
  }
  FailUsage("{} names no node '{}': use {}", option, name, names);
}

std::string ListOf(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list.append(list.empty() ? "" : ",").append(name);
  return list;
}

}  // namespace

std::string_view NameOf(NodeType type) {
  const auto* found = std::find_if(std::begin(kChainNames), std::end(kChainNames),
                                   [&](const ChainName& row) { return row.type == type; });
  return found == std::end(kChainNames) ? std::string_view() : found->name;
}

void CheckNodeNames(std::string_view option, std::string_view text,
                    const std::vector<std::string>& names) {
  bool isFirst = true;
  for (const std::string& name : names) {
    if ((ReadNode(option, name) == NodeType::kSource) != isFirst) {
      FailUsage("{} {}: a chain begins with source, and has only one", option, text);
    }
    isFirst = false;
  }
}

std::vector<int32_t> NodeTypesOf(const std::vector<std::string>& names) {
  CheckNodeNames("--chain", ListOf(names), names);
  std::vector<int32_t> types;
  types.reserve(names.size());
  for (const std::string& name : names) {
    types.push_back(static_cast<int32_t>(ReadNode("--chain", name)));
  }
  return types;
}

}  // namespace kiv::session
