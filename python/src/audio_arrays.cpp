#include "audio_arrays.hpp"

namespace stemstrip::python {
namespace {

std::string ShapeText(const py::array& a) { return py::str(py::tuple(a.attr("shape"))); }

}  // namespace

Samples CheckedAudio(const py::handle& array, const char* name, const std::vector<py::ssize_t>& shape,
                     const std::string& takes) {
    if (!py::isinstance<py::array>(array))
        throw py::value_error(std::string(name) + ": a " + std::string(py::str(array.get_type().attr("__name__"))) +
                              " is not a numpy array; pass float32 samples shaped " + takes);
    const auto a = py::reinterpret_borrow<py::array>(array);
    const py::dtype type = a.dtype();
    if (type.kind() != 'f' || type.itemsize() != 4 || !type.attr("isnative").cast<bool>())
        throw py::value_error(std::string(name) + ": dtype " + type.attr("name").cast<std::string>() +
                              " is not float32; convert with " + name + ".astype(numpy.float32)");

    const auto rank = static_cast<py::ssize_t>(shape.size());
    const bool lastOmitted = a.ndim() == rank && rank > 0 && shape.back() == 1;
    bool fits = a.ndim() == rank + 1 || lastOmitted;
    for (py::ssize_t i = 0; fits && i < a.ndim() - 1; ++i) fits = a.shape(i) == shape[i];
    if (!fits) throw py::value_error(std::string(name) + ": shape " + ShapeText(a) + " does not fit; expected " + takes);
    return Samples::ensure(a);
}

}  // namespace stemstrip::python
