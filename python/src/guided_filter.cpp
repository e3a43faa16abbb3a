#include <pybind11/stl.h>

#include "arrays.h"
#include "call.h"
#include "module.h"

namespace kestrova::python {

namespace {

double fullScale(int depth) { return depth == CV_8U ? 255 : depth == CV_16U ? 65535 : 1; }

cv::Mat scaled(const cv::Mat& plane) {
    if (plane.depth() == CV_32F) return plane;
    cv::Mat floats;
    plane.convertTo(floats, CV_32F, 1 / fullScale(plane.depth()));
    return floats;
}

void requireSize(const char* name, const cv::Mat& plane, cv::Size size) {
    if (plane.size() != size)
        refuse(std::string(name) + ": expected the guide's height and width (" + std::to_string(size.height) + ", " +
               std::to_string(size.width) + "), got (" + std::to_string(plane.rows) + ", " +
               std::to_string(plane.cols) + ")");
}

void requireDepth(const char* name, const Input& input, int depth) {
    if (input.plane.depth() != depth)
        throw py::type_error(std::string(name) + ": expected dtype " + dtypeName(depth) + " as the guide has, got " +
                             dtypeName(input.plane.depth()));
}

constexpr int kMostRadius = 32767;

void checkWindow(int radius, float eps) {
    if (radius < 0 || radius > kMostRadius)
        refuse("radius: expected 0 to " + std::to_string(kMostRadius) + ", got " + std::to_string(radius));
    if (!(eps > 0)) refuse("eps: expected a number above 0");
}

// Floats are filtered by operations that the class offers to derived ones.
class Model : public TGuidedFilter {
public:
    bool fitted() const { return !m_b.empty(); }
    std::size_t planes() const { return m_a1.empty() ? 1 : 3; }

    void fit(const std::vector<cv::Mat>& guide, const cv::Mat& src, int radius, float eps) {
        std::vector<cv::Mat> floats;
        for (const cv::Mat& plane : guide) floats.push_back(scaled(plane));
        setup(floats, scaled(src), radius, eps);
        if (guide.size() == 1) {  // of a model of three planes before
            m_a1.release();
            m_a2.release();
        }
    }
    void apply(const std::vector<cv::Mat>& guide, cv::Mat& out) const {
        if (guide[0].depth() != CV_32F)
            proc(guide, out);
        else if (guide.size() == 1)
            gFc1_apply(guide[0], out);
        else
            gFc3_apply(guide, out);
    }
};

constexpr unsigned kAny = kBytes | kWords | kFloats;

struct Fit {
    std::vector<Input> guide;
    Input src;
};

Fit fitInputs(const py::object& guide, const py::object& src, int radius, float eps) {
    Fit fit{guideOf(guide, "guide", kAny), {}};
    if (src.is_none()) {
        if (fit.guide.size() != 1) refuse("src: expected a plane to filter where the guide has three");
        fit.src = fit.guide[0];
    } else {
        fit.src = inputOf(src, "src", kAny);
        requireDepth("src", fit.src, fit.guide[0].plane.depth());
        requireSize("src", fit.src.plane, fit.guide[0].plane.size());
    }
    checkWindow(radius, eps);
    return fit;
}

// The application to floats does not say that its output may be its input.
void keepOffFloats(Output& output, const std::vector<Input>& guide) {
    for (const Input& input : guide)
        if (input.plane.depth() == CV_32F) output.keepOff(input);
}

py::array guidedFilter(const py::object& guide, const py::object& src, int radius, float eps, const py::object& out,
                       const Threads& threads) {
    const Fit inputs = fitInputs(guide, src, radius, eps);
    const std::vector<cv::Mat> planes = planesOf(inputs.guide);
    Output output(out, planes[0].size(), planes[0].type());
    keepOffFloats(output, inputs.guide);
    callCore(threads, [&] {
        Model model;
        model.fit(planes, inputs.src.plane, radius, eps);
        model.apply(planes, output.plane);
    });
    return output.done();
}

void fitModel(Model& model, const py::object& guide, const py::object& src, int radius, float eps,
              const Threads& threads) {
    const Fit inputs = fitInputs(guide, src, radius, eps);
    const std::vector<cv::Mat> planes = planesOf(inputs.guide);
    callCore(threads, [&] {
        Model fitted;
        fitted.fit(planes, inputs.src.plane, radius, eps);
        model = fitted;
    });
}

py::array applyModel(const Model& model, const py::object& guide, const py::object& out, const Threads& threads) {
    if (!model.fitted()) raiseError("GuidedFilter.apply: there is no model, call fit first", "programming");
    const std::vector<Input> inputs = guideOf(guide, "guide", kAny);
    if (inputs.size() != model.planes())
        refuse("guide: expected " + std::string(model.planes() == 1 ? "one plane" : "three planes") +
               " as the model was fitted with");
    const std::vector<cv::Mat> planes = planesOf(inputs);
    Output output(out, planes[0].size(), planes[0].type());
    keepOffFloats(output, inputs);
    const Model shared = model;  // a fit on another thread makes a new model
    callCore(threads, [&] { shared.apply(planes, output.plane); });
    return output.done();
}

// Whether a factor divides the guide's size into the size of the low plane.
void requireLowSize(const cv::Mat& low, cv::Size guide, int factor) {
    const cv::Size wanted((guide.width - 1) / factor + 1, (guide.height - 1) / factor + 1);
    if (low.size() != wanted)
        refuse("low: expected the guide's height and width divided by the factor and rounded up, (" +
               std::to_string(wanted.height) + ", " + std::to_string(wanted.width) + "), got (" +
               std::to_string(low.rows) + ", " + std::to_string(low.cols) + ")");
}

py::array guidedUpsize(const py::object& guide, const py::object& low, int factor, int radius, float eps,
                       int interpolation, const py::object& out, const Threads& threads) {
    const std::vector<Input> inputs = guideOf(guide, "guide", kBytes | kWords);
    const Input small = inputOf(low, "low", kBytes | kWords);
    std::vector<cv::Mat> planes = planesOf(inputs);
    if (factor < 2) refuse("factor: expected 2 or more, got " + std::to_string(factor));
    if (planes[0].cols < factor || planes[0].rows < factor) refuse("guide: smaller than the factor");
    requireLowSize(small.plane, planes[0].size(), factor);
    checkWindow(radius, eps);
    Output output(out, planes[0].size(), planes[0].type());
    callCore(threads, [&] {
        if (planes.size() == 3)
            upSizeNXGuidedByRGB(planes, small.plane, output.plane, factor, true, interpolation, radius, eps);
        else
            upSizeNXGuidedByY(planes[0], small.plane, output.plane, factor, true, interpolation, radius, eps);
    });
    return output.done();
}

py::array chromaUpsize(const py::object& guide, const py::object& low, const py::object& out, const Threads& threads) {
    const Input large = inputOf(guide, "guide", kWords), small = inputOf(low, "low", kWords);
    requireLowSize(small.plane, large.plane.size(), 2);
    Output output(out, large.plane.size(), CV_16UC1);
    callCore(threads, [&] { upSize2XGuidedByYSimple(large.plane, small.plane, output.plane); });
    return output.done();
}

}  // namespace

void addGuidedFilter(py::module_& module) {
    using namespace py::literals;
    module.def("guided_filter", guidedFilter, "guide"_a, "src"_a, "radius"_a, "eps"_a, "out"_a, "threads"_a);
    module.def("guided_upsize", guidedUpsize, "guide"_a, "low"_a, "factor"_a, "radius"_a, "eps"_a, "interpolation"_a,
               "out"_a, "threads"_a);
    module.def("chroma_upsize", chromaUpsize, "guide"_a, "low"_a, "out"_a, "threads"_a);
    py::class_<Model>(module, "GuidedFilter")
        .def(py::init<>())
        .def("fit", fitModel, "guide"_a, "src"_a, "radius"_a, "eps"_a, "threads"_a)
        .def("apply", applyModel, "guide"_a, "out"_a, "threads"_a)
        .def_property_readonly("fitted", &Model::fitted);
}

}  // namespace kestrova::python
