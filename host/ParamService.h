// The desktop's parameter-set service: implements tyk::ParamSet, registerPsTag and setPsParam.
//
// It has a table of tags, keeps the live values that a simulated camera reports, returns them from
// getParam(), and keeps the values that setParam() publishes for a program to inspect.
//
// Threads: every operation from any thread. Ownership: values are copied in and out; of blocks the
// service keeps only the descriptor, and the block's owner must keep the block alive. The
// platform's operations on values throw nothing; those of the included headers may throw
// std::bad_alloc, which leaves the service unchanged.
//
// getParam() and setParam() trust the tag table: for a fixed-size tag they copy exactly its size,
// for a block tag a BlockParamDesc. They cannot detect that a caller takes the tag for one of the
// other kind. getSize() gives -1 for an unknown tag and the descriptor's size for a block tag.
#pragma once

#include "host/LiveValues.h"
#include "host/PublishedValues.h"
#include "tags/TagTable.h"

namespace tykhost {

/// Restores the service's state before its first use: getInstance() returns null again. No other
/// thread may use the service meanwhile.
void resetParamService();

}  // namespace tykhost
