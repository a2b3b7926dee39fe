#include "python/src/Errors.h"

#include "python/src/Text.h"
#include "tools/console/Console.h"
#include "tools/picture/PictureFile.h"

#include <pybind11/pybind11.h>

namespace py = pybind11;

namespace tykpython {

namespace {

void raiseDamaged(const tyktags::Problem& problem) {
    const py::object type = py::module_::import("tyksim._errors").attr("DamagedError");
    const py::object error =
        type(pythonText(problem.path), pythonText(problem.expected), pythonText(problem.found),
             pythonText(problem.reason), pythonText(problem.where));
    PyErr_SetObject(type.ptr(), error.ptr());
}

void raiseError(const char* line) {
    const py::object type = py::module_::import("tyksim._errors").attr("Error");
    PyErr_SetObject(type.ptr(), pythonText(line).ptr());
}

}  // namespace

void translateErrors() {
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            if (thrown) std::rethrow_exception(thrown);
        } catch (const Damaged& damaged) {
            raiseDamaged(damaged.problem());
        } catch (const tyksim::NoPicture& problem) {
            raiseDamaged({problem.path(), "an image", "", problem.reason()});
        } catch (const tyksim::WrongUsage& error) {
            PyErr_SetObject(PyExc_ValueError, pythonText(error.what()).ptr());
        } catch (const tyksim::Failure& error) {
            raiseError(error.what());
        }
    });
}

}  // namespace tykpython
