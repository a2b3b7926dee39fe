// Converts names and texts of trees, which are bytes, to Python's strings and back. Threads: with
// the interpreter's lock.
#pragma once

#include <pybind11/pybind11.h>
#include <string>
#include <string_view>

namespace tykpython {

/// Decodes bytes like Python's file names: os.fsencode() restores bytes that are not UTF-8.
inline pybind11::str pythonText(std::string_view bytes) {
    PyObject* const text = PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()),
                                                "surrogateescape");
    if (!text) throw pybind11::error_already_set();
    return pybind11::reinterpret_steal<pybind11::str>(text);
}

/// The inverse of pythonText().
inline std::string bytesOf(const pybind11::str& text) {
    PyObject* const bytes = PyUnicode_AsEncodedString(text.ptr(), "utf-8", "surrogateescape");
    if (!bytes) throw pybind11::error_already_set();
    return pybind11::reinterpret_steal<pybind11::bytes>(bytes);
}

}  // namespace tykpython
