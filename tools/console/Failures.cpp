#include "tools/console/Failures.h"

#include "tree/read/Escape.h"

namespace tyksim {

void fail(const tyktags::Problem& problem) {
    throw Failure(tyktree::escaped(toLine(problem)));
}

void orFail(const tyktags::Status& status) {
    if (!status.ok()) fail(status.problem());
}

}  // namespace tyksim
