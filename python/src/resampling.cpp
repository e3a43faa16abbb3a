#include <pybind11/stl.h>

#include <algorithm>
#include <climits>

#include "arrays.h"
#include "call.h"
#include "module.h"

namespace kestrova::python {

namespace {

using Size = std::pair<int, int>;  // height and width, as numpy has them

void requireFactor(int factor, int interpolation) {
    if (factor < 1) refuse("factor: expected 1 or more, got " + std::to_string(factor));
    if (interpolation == kPyramidStep && factor != 2) refuse("interpolation: \"pyramid\" takes a factor of 2 only");
}

using By2 = void (*)(const cv::Mat&, cv::Mat&, int);
using ByN = void (*)(const cv::Mat&, cv::Mat&, int, int);

// Resizes to `whole`, or to as much of it from the top left as `shape` says.
py::array resized(By2 by2, ByN byN, const Input& input, cv::Size whole, int factor, int interpolation,
                  const std::optional<Size>& shape, const py::object& out, const Threads& threads) {
    const cv::Size size = shape ? cv::Size(shape->second, shape->first) : whole;
    if (size.width < 1 || size.height < 1 || size.width > whole.width || size.height > whole.height)
        refuse("shape: expected (1, 1) to (" + std::to_string(whole.height) + ", " + std::to_string(whole.width) +
               "), got (" + std::to_string(size.height) + ", " + std::to_string(size.width) + ")");
    Output output(out, size, input.plane.type());
    output.keepOff(input);
    callCore(threads, [&] {
        if (factor == 1)
            input.plane(cv::Rect(cv::Point(), size)).copyTo(output.plane);
        else if (factor == 2)
            by2(input.plane, output.plane, interpolation);
        else
            byN(input.plane, output.plane, factor, interpolation);
    });
    return output.done();
}

py::array downsize(const py::object& src, int factor, int interpolation, const std::optional<Size>& shape,
                   const py::object& out, const Threads& threads) {
    const Input input = inputOf(src, "src", kBytes | kWords | kFloats);
    requireFactor(factor, interpolation);
    const cv::Size whole((input.plane.cols - 1) / factor + 1, (input.plane.rows - 1) / factor + 1);
    return resized(downSize2X, downSizeNX, input, whole, factor, interpolation, shape, out, threads);
}

py::array upsize(const py::object& src, int factor, int interpolation, const std::optional<Size>& shape,
                 const py::object& out, const Threads& threads) {
    const Input input = inputOf(src, "src", kBytes | kWords | kFloats);
    requireFactor(factor, interpolation);
    if (std::max(input.plane.cols, input.plane.rows) > INT_MAX / factor)
        refuse("factor: the result would have 2**31 pixels a side or more");
    const cv::Size whole = input.plane.size() * factor;
    return resized(upSize2X, upSizeNX, input, whole, factor, interpolation, shape, out, threads);
}

py::array view(const py::object& src, int x, int y, int width, int height, int step, bool half, bool smooth,
               const Threads& threads) {
    const Input input = inputOf(src, "src", kBytes | kWords | kFloats);
    if (step < 1) refuse("step: expected 1 or more, got " + std::to_string(step));
    if (width < 1 || height < 1) refuse("width, height: expected numbers above 0");
    cv::Mat part;
    callCore(threads, [&] { part = TPImage::MatRoi(input.plane, x, y, width, height, step, half, smooth); });
    return arrayOf(part);
}

}  // namespace

void addResampling(py::module_& module) {
    using namespace py::literals;
    module.attr("PYRAMID") = kPyramidStep;
    module.def("downsize", downsize, "src"_a, "factor"_a, "interpolation"_a, "shape"_a, "out"_a, "threads"_a);
    module.def("upsize", upsize, "src"_a, "factor"_a, "interpolation"_a, "shape"_a, "out"_a, "threads"_a);
    module.def("view", view, "src"_a, "x"_a, "y"_a, "width"_a, "height"_a, "step"_a, "half"_a, "smooth"_a, "threads"_a);
}

}  // namespace kestrova::python
