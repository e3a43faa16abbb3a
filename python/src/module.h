#pragma once

#include <pybind11/pybind11.h>

// What each source adds to the extension module. The package's Python files give these their signatures and their
// documentation: here all arguments are positional.

namespace kestrova::python {

void addFilters(pybind11::module_& module);
void addGuidedFilter(pybind11::module_& module);
void addResampling(pybind11::module_& module);
void addCurves(pybind11::module_& module);
void addPicture(pybind11::module_& module);
void addDetailEngine(pybind11::module_& module);
void addMask(pybind11::module_& module);
void addSettings(pybind11::module_& module);
void addPhotographs(pybind11::module_& module);
void addDevelopment(pybind11::module_& module);

}  // namespace kestrova::python
