#include "module.h"

#include <omp.h>

PYBIND11_MODULE(_kestrova, module) {
    using namespace kestrova::python;
    module.doc() = "The library's operations as the package kestrova calls them; see there.";
    module.attr("__version__") = KESTROVA_VERSION;
    // Ends the calling thread's team of OpenMP, so that a child of fork() can start one; without a team it does
    // nothing.
    module.def("end_team", [] { omp_pause_resource_all(omp_pause_soft); });
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
