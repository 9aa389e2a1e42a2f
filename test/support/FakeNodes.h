// A node table whose nodes are fakes, and a record of what a chain builder asked of it.
//
// Threads:  one FakeNodes at a time in a process.
#pragma once

#include <cstdint>
#include <vector>

#include "kiv/chain/ChainBuilder.h"
#include "test/support/FakeNode.h"

namespace test {

class FakeNodes {
 public:
  struct Made {
    NodeType type;
    IUnknown* outer;
    IKivSourceBase* upstream;
    KivComPtr<FakeNode> node;
  };

  FakeNodes();
  ~FakeNodes();
  FakeNodes(const FakeNodes&) = delete;
  FakeNodes& operator=(const FakeNodes&) = delete;

  // A row for each of the node types 0 to 7.
  NodeTable Table() const;
  // The node made last.
  FakeNode& Tail() const { return *made.back().node; }

  std::vector<Made> made;
  // The n-th node from now on (0 is the next) cannot be made; -1 for none.
  int failAfter = -1;
};

}  // namespace test
