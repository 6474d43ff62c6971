// Audio as numpy arrays: float32 samples, channels first, each channel's
// frames contiguous (the SDK's planar layout, so the strip reads the rows in
// place). Every check names the argument, what it got and what it takes.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <string>
#include <vector>

namespace stemstrip::python {

namespace py = pybind11;

using Samples = py::array_t<float, py::array::c_style>;

// `array` as rows of frames. `shape` is what it must hold before the frames
// axis, e.g. {channels} for one strip or {members, channels} for a bank; a
// last entry of 1 may be left out (a mono strip takes a 1-D array). `takes`
// says the expected shape in words for the error. Rows are copied only when
// the array is not already C-contiguous.
Samples CheckedAudio(const py::handle& array, const char* name, const std::vector<py::ssize_t>& shape,
                     const std::string& takes);

inline py::ssize_t Frames(const Samples& a) { return a.ndim() ? a.shape(a.ndim() - 1) : 0; }

// A new C-contiguous float32 array of `like`'s shape.
inline Samples SameShape(const Samples& like) {
    return Samples(std::vector<py::ssize_t>(like.shape(), like.shape() + like.ndim()));
}

}  // namespace stemstrip::python
