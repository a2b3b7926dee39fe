// The module tyksim._core, on which the Python files of the package are built.
#include "python/src/Errors.h"
#include "python/src/Frames.h"
#include "python/src/Images.h"
#include "python/src/NameCatalog.h"
#include "python/src/TreeWriter.h"
#include "tags/NearestNames.h"
#include "tools/processor/ProcessorRules.h"

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

namespace py = pybind11;

namespace {

/// Raises ValueError if a parameter of `size` bytes cannot have a value of `bytes` bytes.
void checkValue(uint32_t tag, bool isBlock, size_t size, uint64_t bytes) {
    tyksim_parameter parameter{};
    parameter.tag = tag;
    parameter.is_block = isBlock ? 1 : 0;
    parameter.size = size;
    tyksim_frame frame{};
    frame.parameters = &parameter;
    frame.parameter_count = 1;
    const tyktags::Status status = tyksim::checkValue(frame, tag, bytes);
    if (!status.ok()) throw py::value_error(status.problem().reason);
}

}  // namespace

PYBIND11_MODULE(_core, module) {
    module.doc() = "Trees, values and images for the package tyksim.";
    module.attr("__version__") = TYKSIM_VERSION;
    tykpython::translateErrors();
    tykpython::bindNameCatalog(module);
    py::class_<tykpython::Frames> frames(module, "Frames");
    tykpython::bindFrames(frames);
    tykpython::bindTracks(frames);
    tykpython::bindChecks(module, frames);
    tykpython::bindImages(module);
    tykpython::bindWriter(module);
    module.def("check_value", &checkValue);
    module.def("nearest", &tyktags::nearestNames, py::arg("name"), py::arg("among"),
               py::arg("count") = 3);
}
