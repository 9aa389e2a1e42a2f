// Which class stands behind each node type id. A type without a row is skipped by the chain
// builder.
#pragma once

#include "kiv/chain/ChainBuilder.h"

NodeTable ComponentNodes();
