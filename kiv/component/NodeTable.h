// Which class each node type id names. A type without a row is skipped by the chain
// builder.
#pragma once

#include "kiv/chain/ChainBuilder.h"

NodeTable ComponentNodes();
