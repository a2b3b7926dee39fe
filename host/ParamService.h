// The desktop's parameter-set service: stands behind tyk::ParamSet, registerPsTag and setPsParam.
//
// It knows a table of tags, keeps the live values that a simulated camera reports, answers
// getParam() from them, and keeps what setParam() publishes for a program to inspect.
//
// Threads: every operation from any thread. Ownership: values are copied in and out; of blocks the
// service keeps only the descriptor, and the block's owner must keep the block alive. No exception
// leaves the platform's operations on values; those of the headers below may throw std::bad_alloc,
// which leaves the service as it was.
//
// getParam() and setParam() trust the tag table: of a fixed-size tag they copy exactly its size, of
// a block tag a BlockParamDesc, and nothing tells them that the caller meant the other kind.
// getSize() gives -1 for an unknown tag and the descriptor's size for a block tag.
#pragma once

#include "host/LiveValues.h"
#include "host/PublishedValues.h"
#include "tags/TagTable.h"

namespace tykhost {

/// Puts the service back to the state before its first use: getInstance() gives null again.
/// No other thread may use it.
void resetParamService();

}  // namespace tykhost
