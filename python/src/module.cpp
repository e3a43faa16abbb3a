#include "module.h"

PYBIND11_MODULE(_kestrova, module) {
    using namespace kestrova::python;
    module.doc() = "The library's operations as the package kestrova calls them; see there.";
    module.attr("__version__") = KESTROVA_VERSION;
    addFilters(module);
    addGuidedFilter(module);
    addResampling(module);
    addCurves(module);
    addPicture(module);
    addDetailEngine(module);
    addMask(module);
    addSettings(module);
    addPhotographs(module);
    addDevelopment(module);
}
