#include "tools/console/Failures.h"

#include "tree/read/Escape.h"

namespace tyksim {

std::string lineOf(const tyktags::Problem& problem) {
    return tyktree::escaped(toLine(problem));
}

void fail(const tyktags::Problem& problem) {
    throw Failure(lineOf(problem));
}

void orFail(const tyktags::Status& status) {
    if (!status.ok()) fail(status.problem());
}

}  // namespace tyksim
