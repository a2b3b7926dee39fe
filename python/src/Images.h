// Reads image files into arrays, and makes pictures of arrays. Threads: with the interpreter's
// lock.
#pragma once

#include <pybind11/pybind11.h>

namespace tykpython {

void bindImages(pybind11::module_& module);

}  // namespace tykpython
