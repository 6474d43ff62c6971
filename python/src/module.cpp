// The compiled half of the `stemstrip` package; stemstrip/__init__.py wraps
// it with keyword settings. Bad arguments raise ValueError: the SDK's
// UsageError and SettingsError are std::invalid_argument, which pybind11
// already maps to ValueError, and the file renderer's errors join them.
#include "bindings.hpp"
#include "cli_error.hpp"

PYBIND11_MODULE(_stemstrip, m) {
    m.doc() = "stemstrip channel strip (compiled part; import stemstrip)";
    pybind11::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const stemstrip::cli::CliError& e) {
            PyErr_SetString(PyExc_ValueError, e.what());
        }
    });
    stemstrip::python::BindStrip(m);
    stemstrip::python::BindStripBank(m);
    stemstrip::python::BindFilesAndPlots(m);
}
