#include "domain_transform.h"

#include <omp.h>

// The shared library keeps this class to itself; the module has a copy of it linked in.
#include "kestrova/detail/domain_transform.h"

namespace kestrova::python {

void filterDomainTransform(const cv::Mat& in, cv::Mat& out, float sigmaSpace, float sigmaRange, bool normalized) {
    const int threads = omp_get_max_threads(), dynamic = omp_get_dynamic(), levels = omp_get_max_active_levels();
    DomainTransformFilter filter(sigmaSpace, sigmaRange);  // sets OpenMP's settings
    omp_set_max_active_levels(levels);
    omp_set_dynamic(dynamic);
    omp_set_num_threads(threads);
    filter.filter(in, out, normalized ? 1 : 0);
}

}  // namespace kestrova::python
