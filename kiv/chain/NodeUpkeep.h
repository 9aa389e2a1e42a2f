// What a clip render asks of the nodes it made, in addition to the slots that every node answers.
#pragma once

#include "kiv/platform/Properties.h"

struct InitialBags {
  KivComPtr<IKivProperties> settings;
  KivComPtr<IKivProperties> info;
};

// Who calls Initialize. The clip render does so by itself and knows nothing of the clip: what its bags
// do not hold, nodes keep.
enum class Initializer { kHost, kClipRender };

// Threads:  as the node's own operations.
// Errors:   none.
class NodeUpkeep {
 public:
  // Returns once no thread of the node's own uses its upstream. None does until the next call that
  // positions the node or asks it for a frame.
  virtual void FinishReading() = 0;
  // The same, and drops what was read: the nodes below are about to change.
  virtual void Forget() = 0;
  // Who makes the next calls of Initialize; the host at first.
  virtual void SetInitializer(Initializer who) = 0;
  // Of the last Initialize that the host made; null before one.
  virtual const InitialBags& HostBags() const = 0;

 protected:
  ~NodeUpkeep() = default;
};
