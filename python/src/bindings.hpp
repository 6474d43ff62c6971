// Each part of the Python module registers itself here.
#pragma once

#include <pybind11/pybind11.h>

namespace stemstrip::python {

void BindStrip(pybind11::module_& m);
void BindStripBank(pybind11::module_& m);
void BindFilesAndPlots(pybind11::module_& m);

}  // namespace stemstrip::python
