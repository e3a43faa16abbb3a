#pragma once

#include <opencv2/core.hpp>

namespace kestrova::python {

/// Filters a float image of any number of channels, of up to four with normalized convolution instead of the recursive
/// filter. `out` has its size and type and shares no pixels with it. Runs with the threads that OpenMP gives to the
/// calling thread, and leaves OpenMP's settings as they were.
void filterDomainTransform(const cv::Mat& in, cv::Mat& out, float sigmaSpace, float sigmaRange, bool normalized);

}  // namespace kestrova::python
