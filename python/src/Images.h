// Image files as arrays, and arrays as pictures.
#pragma once

#include <pybind11/pybind11.h>

namespace tykpython {

void bindImages(pybind11::module_& module);

}  // namespace tykpython
