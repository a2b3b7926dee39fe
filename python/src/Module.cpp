// The module tyksim._core, on which the Python files of the package are built.
#include "python/src/Errors.h"
#include "python/src/Frames.h"
#include "python/src/Images.h"
#include "python/src/Table.h"
#include "python/src/TreeWriter.h"
#include "tags/NearestNames.h"
#include "tools/processor/ProcessorRules.h"

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

namespace py = pybind11;

namespace {

/// The reason why a parameter of `size` bytes cannot have a value of `bytes` bytes; "" if it can.
std::string valueProblem(uint32_t tag, bool isBlock, size_t size, uint64_t bytes) {
    tyksim_parameter parameter{};
    parameter.tag = tag;
    parameter.is_block = isBlock ? 1 : 0;
    parameter.size = size;
    tyksim_frame frame{};
    frame.parameters = &parameter;
    frame.parameter_count = 1;
    return tyksim::valueProblem(frame, tag, bytes);
}

}  // namespace

PYBIND11_MODULE(_core, module) {
    module.doc() = "Trees, values and images for the package tyksim.";
    module.attr("__version__") = TYKSIM_VERSION;
    tykpython::translateErrors();
    tykpython::bindTable(module);
    py::class_<tykpython::Frames> frames(module, "Frames");
    tykpython::bindFrames(frames);
    tykpython::bindTracks(frames);
    tykpython::bindChecks(module, frames);
    tykpython::bindImages(module);
    tykpython::bindWriter(module);
    module.def("value_problem", &valueProblem);
    module.def("nearest", &tyktags::nearestNames, py::arg("name"), py::arg("among"),
               py::arg("count") = 3);
}
