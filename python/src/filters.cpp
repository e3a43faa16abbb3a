#include <pybind11/stl.h>

#include "arrays.h"
#include "call.h"
#include "domain_transform.h"
#include "module.h"

namespace kestrova::python {

namespace {

py::array bilateralGrid(const py::object& src, const py::object& guide, int spaceSampling, int rangeSampling,
                        const py::object& out, const py::object& callable, const Threads& threads) {
    const Input input = inputOf(src, "src", kBytes | kWords);
    Input edges;
    if (!guide.is_none()) edges = inputOf(guide, "guide", kBytes | kWords | kFloats, input.plane.size());
    if (spaceSampling < 2) refuse("space_sampling: expected 2 or more, got " + std::to_string(spaceSampling));
    if (rangeSampling < 1) refuse("range_sampling: expected 1 or more, got " + std::to_string(rangeSampling));
    Output output(out, input.plane.size(), input.plane.type());
    if (!guide.is_none()) output.keepOff(edges);
    Progress progress(callable);
    callCore(threads, [&] {
        output.fill(input);
        BilateralFilter().proc(edges.plane, output.plane, spaceSampling, rangeSampling, progress.core());
    });
    progress.finish();
    return output.done();
}

py::array gradientGuide(const py::object& src, const py::object& guide, int radius, const py::object& out,
                        const Threads& threads) {
    const Input input = inputOf(src, "src", kBytes | kWords);
    const Input wanted = inputOf(guide, "guide", depthBit(input.plane.depth()), input.plane.size());
    if (radius < 0) refuse("radius: expected 0 or more, got " + std::to_string(radius));
    Output output(out, input.plane.size(), input.plane.type());
    output.keepOff(wanted);
    callCore(threads, [&] {
        output.fill(input);
        BilateralFilter::gradientGuide(wanted.plane, output.plane, radius);
    });
    return output.done();
}

py::array localLaplacian(const py::object& src, float alpha, float blur, int levels, int references,
                         const py::object& out, const Threads& threads) {
    using Filter = bool (LocalLaplacian::*)(const cv::Mat&, cv::Mat&, float, float, int);
    const Filter filter = references == 10   ? &LocalLaplacian::proc10K
                          : references == 16 ? &LocalLaplacian::proc16K
                          : references == 24 ? &LocalLaplacian::proc24K
                                             : nullptr;
    const Input input = inputOf(src, "src", kWords);
    if (!filter) refuse("references: expected 10, 16 or 24, got " + std::to_string(references));
    if (!(alpha > -1 && alpha < 1)) refuse("alpha: expected a number between -1 and 1");
    if (!(blur >= 0 && blur <= 1)) refuse("blur: expected a number from 0 to 1");
    if (levels < 1) refuse("levels: expected 1 or more, got " + std::to_string(levels));
    Output output(out, input.plane.size(), CV_16UC1);
    callCore(threads, [&] {
        LocalLaplacian laplacian;
        (laplacian.*filter)(input.plane, output.plane, alpha, blur, levels);
    });
    return output.done();
}

cv::Mat kernelOf(const char* name, const std::vector<float>& coefficients) {
    if (coefficients.empty()) refuse(std::string(name) + ": expected at least one coefficient");
    return cv::Mat(coefficients, true).reshape(1, 1);
}

py::array convolutionPyramid(const py::object& src, const std::vector<float>& k1, const std::vector<float>& k2,
                             const std::vector<float>& k3, const py::object& out, const Threads& threads) {
    const Input input = inputOf(src, "src", kBytes | kWords | kFloats);
    const cv::Mat down = kernelOf("k1", k1), up = kernelOf("k2", k2), own = kernelOf("k3", k3);
    Output output(out, input.plane.size(), CV_32FC1);
    callCore(threads, [&] { ConvPyr(down, up, own).proc(input.plane, output.plane); });
    return output.done();
}

py::array weightedLeastSquares(const py::object& src, const py::object& guide, float lam, float alpha, bool logGuide,
                               const py::object& out, const Threads& threads) {
    const Input input = inputOf(src, "src", kFloats);
    const Input edges = guide.is_none() ? input : inputOf(guide, "guide", kFloats, input.plane.size());
    if (!(lam >= 0)) refuse("lam: expected a number from 0 on");
    if (!(alpha >= 0)) refuse("alpha: expected a number from 0 on");
    if (logGuide && py::module_::import("numpy").attr("min")(edges.array).cast<double>() < 0)
        refuse("guide: expected values from 0 on, whose logarithm is taken");
    Output output(out, input.plane.size(), CV_32FC1);
    bool solved = false;
    callCore(threads, [&] {
        // The filter works on whole rows without gaps, and writes into its guide.
        cv::Mat plane = input.plane.clone(), scratch = edges.plane.clone();
        TWLSFilter filter;
        filter.Proc(plane.ptr<float>(), plane.cols, plane.rows, lam, alpha, scratch.ptr<float>(), logGuide);
        solved = filter.solved();
        if (solved) plane.copyTo(output.plane);
    });
    if (!solved) raiseFailure("weighted_least_squares: not enough memory");
    return output.done();
}

py::array domainTransform(const py::object& src, float sigmaSpace, float sigmaRange, bool normalized,
                          const py::object& out, const Threads& threads) {
    const Input input = inputOf(src, "src", kFloats, kAnyChannels);
    if (!(sigmaSpace > 0)) refuse("sigma_space: expected a number above 0");
    if (!(sigmaRange > 0)) refuse("sigma_range: expected a number above 0");
    if (normalized && input.plane.channels() > 4)
        refuse("src: mode \"normalized\" takes up to four channels, got " + std::to_string(input.plane.channels()));
    Output output(out, input.plane.size(), input.plane.type());
    output.keepOff(input);
    callCore(threads, [&] { filterDomainTransform(input.plane, output.plane, sigmaSpace, sigmaRange, normalized); });
    return output.done();
}

py::array boxFilter(const py::object& src, int radius, int iterations, const py::object& out,
                    const py::object& callable, const Threads& threads) {
    const Input input = inputOf(src, "src", kBytes | kWords);
    if (radius < 0) refuse("radius: expected 0 or more, got " + std::to_string(radius));
    if (iterations < 0) refuse("iterations: expected 0 or more, got " + std::to_string(iterations));
    const int reduction = 1 + radius / 54;
    if (input.plane.cols < reduction || input.plane.rows < reduction)
        refuse("src: expected a height and width of at least 1 + radius // 54, which is " + std::to_string(reduction));
    Output output(out, input.plane.size(), input.plane.type());
    Progress progress(callable, Progress::GoOn::onFalse);
    callCore(threads, [&] {
        const bool words = input.plane.depth() == CV_16U;
        TImage image(words ? TImage::IM_Y16U : TImage::IM_C8U, TSize(input.plane.cols, input.plane.rows));
        image.fromMat(input.plane, 0);
        if (!words) image.fromMat(input.plane, 1);  // bytes come in pairs of planes
        if (!tFilterBox(&image, &image, radius, iterations, progress.core())) image.toMat(0).copyTo(output.plane);
    });
    progress.finish();
    return output.done();
}

py::array blend(const py::object& first, const py::object& second, const py::object& alpha, float strength,
                const py::object& out, const Threads& threads) {
    const Input one = inputOf(first, "first", kBytes | kWords | kFloats);
    const Input other = inputOf(second, "second", depthBit(one.plane.depth()), one.plane.size());
    const Input mask = inputOf(alpha, "alpha", kBytes, one.plane.size());
    if (!(strength >= 0 && strength <= 1)) refuse("strength: expected a number from 0 to 1");
    Output output(out, one.plane.size(), one.plane.type());
    callCore(threads, [&] { blendAlpha(one.plane, other.plane, mask.plane, output.plane, strength); });
    return output.done();
}

py::array sharpen(const py::object& src, const py::object& out, const Threads& threads) {
    const Input input = inputOf(src, "src", kWords);
    Output output(out, input.plane.size(), CV_16UC1);
    callCore(threads, [&] { extremeSharpen(input.plane, output.plane); });
    return output.done();
}

}  // namespace

void addFilters(py::module_& module) {
    using namespace py::literals;
    module.def("bilateral_grid", bilateralGrid, "src"_a, "guide"_a, "space_sampling"_a, "range_sampling"_a, "out"_a,
               "progress"_a, "threads"_a);
    module.def("gradient_guide", gradientGuide, "src"_a, "guide"_a, "radius"_a, "out"_a, "threads"_a);
    module.def("local_laplacian", localLaplacian, "src"_a, "alpha"_a, "blur"_a, "levels"_a, "references"_a, "out"_a,
               "threads"_a);
    module.def("local_laplacian_levels", &LocalLaplacian::levelJ);
    module.def("convolution_pyramid", convolutionPyramid, "src"_a, "k1"_a, "k2"_a, "k3"_a, "out"_a, "threads"_a);
    module.def("weighted_least_squares", weightedLeastSquares, "src"_a, "guide"_a, "lam"_a, "alpha"_a, "log_guide"_a,
               "out"_a, "threads"_a);
    module.def("domain_transform", domainTransform, "src"_a, "sigma_space"_a, "sigma_range"_a, "normalized"_a, "out"_a,
               "threads"_a);
    module.def("box_filter", boxFilter, "src"_a, "radius"_a, "iterations"_a, "out"_a, "progress"_a, "threads"_a);
    module.def("blend", blend, "first"_a, "second"_a, "alpha"_a, "strength"_a, "out"_a, "threads"_a);
    module.def("extreme_sharpen", sharpen, "src"_a, "out"_a, "threads"_a);
}

}  // namespace kestrova::python
