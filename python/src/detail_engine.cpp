#include <pybind11/stl.h>

#include <algorithm>
#include <array>

#include "arrays.h"
#include "in_use.h"
#include "module.h"

namespace kestrova::python {

namespace {

struct Engine {
    TVelline core;
    InUse::Flag inUse{false};
};

constexpr const char* kName = "DetailEngine";

// `TVelline::setup` sets the number of OpenMP's threads by itself: this bounds it all the same.
template <class Work>
void withThreadLimit(const Threads& threads, const Work& work) {
    if (!threads) return work();
    std::exception_ptr failure;
#pragma omp teams num_teams(1) thread_limit(*threads)
    try {
        work();
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) std::rethrow_exception(failure);
}

// What is left of luminance without the details.
cv::Mat baseOf(const cv::Mat& y, const cv::Mat& small, const cv::Mat& medium, const cv::Mat& large) {
    cv::Mat base(y.size(), CV_16UC1);
    for (int r = 0; r < y.rows; ++r) {
        const ushort *from = y.ptr<ushort>(r), *s = small.ptr<ushort>(r), *m = medium.ptr<ushort>(r),
                     *l = large.ptr<ushort>(r);
        ushort* to = base.ptr<ushort>(r);
        for (int x = 0; x < y.cols; ++x)
            to[x] = static_cast<ushort>(std::clamp(from[x] - 2 * (s[x] + m[x] + l[x] - 3 * 32768), 0, 65535));
    }
    return base;
}

void requireHalf(const char* name, const Input& input, cv::Size size) {
    const cv::Size half(TPImage::half(size.width), TPImage::half(size.height));
    if (input.plane.size() != half)
        refuse(std::string(name) + ": expected half the height and width of y, rounded up, (" +
               std::to_string(half.height) + ", " + std::to_string(half.width) + "), got (" +
               std::to_string(input.plane.rows) + ", " + std::to_string(input.plane.cols) + ")");
}

std::unique_ptr<Engine> makeEngine(const py::object& y, const py::object& dr, const py::object& db,
                                   const py::object& small, const py::object& medium, const py::object& large,
                                   const py::object& base, const py::object& callable, const Threads& threads) {
    const Input light = inputOf(y, "y", kWords);
    const cv::Size size = light.plane.size();
    const Input red = inputOf(dr, "dr", kWords), blue = inputOf(db, "db", kWords);
    requireHalf("dr", red, size);
    requireHalf("db", blue, size);
    const Input s = inputOf(small, "small", kWords, size), m = inputOf(medium, "medium", kWords, size),
                l = inputOf(large, "large", kWords, size);
    cv::Mat left;
    if (!base.is_none()) left = sharedPlane(inputOf(base, "base", kWords, size));
    const cv::Mat whole = sharedPlane(light), fine = sharedPlane(s), middle = sharedPlane(m), broad = sharedPlane(l);

    auto engine = std::make_unique<Engine>();
    Progress progress(callable);
    callCore(threads, [&] {
        if (left.empty()) left = baseOf(whole, fine, middle, broad);
        withThreadLimit(
            threads, [&] { engine->core.setup(whole, fine, middle, broad, red.plane, blue.plane, progress.core()); });
        engine->core.m_Y = left;
    });
    progress.finish();
    return engine;
}

void setDetail(Engine& engine, int scale, int zone, float strength, float threshold) {
    const InUse guard(engine.inUse, kName);
    const int index = 3 * scale + zone;
    engine.core.m_k[index] = strength;
    engine.core.m_t[index] = threshold;
    (scale == 0 ? engine.core.m_bChangedS : scale == 1 ? engine.core.m_bChangedM : engine.core.m_bChangedL) = true;
}

void setLight(Engine& engine, const std::array<float, 6>& light) {
    const InUse guard(engine.inUse, kName);
    std::copy(light.begin(), light.end(), engine.core.m_light);
    engine.core.m_bChangedY = true;
}

void setMix(Engine& engine, const std::array<float, 3>& mix) {
    const InUse guard(engine.inUse, kName);
    std::copy(mix.begin(), mix.end(), engine.core.m_mix);
    engine.core.m_bChangedY = true;
}

cv::Rect viewOf(const Engine& engine, int x, int y, int width, int height, int step) {
    const cv::Mat& whole = engine.core.m_Y;
    if (step < 1) refuse("step: expected 1 or more, got " + std::to_string(step));
    if (x < 0 || y < 0 || x >= whole.cols || y >= whole.rows)
        refuse("x, y: expected a pixel of the picture, which has height and width (" + std::to_string(whole.rows) +
               ", " + std::to_string(whole.cols) + ")");
    if (width < 1 || height < 1 || width > (whole.cols - x - 1) / step + 1 || height > (whole.rows - y - 1) / step + 1)
        refuse("width, height: expected 1 or more, and a view within the picture");
    return {x, y, width, height};
}

py::array render(Engine& engine, int x, int y, int width, int height, int step, const py::object& extra,
                 const Threads& threads) {
    const InUse guard(engine.inUse, kName);
    const cv::Rect view = viewOf(engine, x, y, width, height, step);
    Input detail;
    if (!extra.is_none()) detail = inputOf(extra, "extra", kWords, view.size());
    cv::Mat rendered;
    callCore(threads, [&] {
        engine.core.proc(view, step, detail.plane);
        rendered = engine.core.getRoiY().clone();  // the next rendering writes into the engine's own
    });
    return arrayOf(rendered);
}

py::tuple chroma(Engine& engine, int x, int y, int width, int height, int step, const Threads& threads) {
    const InUse guard(engine.inUse, kName);
    const cv::Rect view = viewOf(engine, x, y, width, height, step);
    cv::Mat dr, db;
    callCore(threads, [&] {
        const bool smooth = step > engine.core.m_maxPlainLevel;
        dr = TPImage::MatRoi(engine.core.m_Dr, x, y, view.width, view.height, step, false, smooth);
        db = TPImage::MatRoi(engine.core.m_Db, x, y, view.width, view.height, step, false, smooth);
    });
    return py::make_tuple(arrayOf(dr), arrayOf(db));
}

struct Colour {
    TColorAdjVL core;
    InUse::Flag inUse{false};

    Colour(float warm, float cool, float tintAbove, float tintBelow, float saturation, float vibrance)
        : core(warm, cool, tintAbove, tintBelow, saturation, vibrance) {}
};

std::array<float, 4> colourOf(const Colour& colour) {
    return {colour.core.m_temperature, colour.core.m_tint, colour.core.m_saturation, colour.core.m_vibrance};
}

void setColour(Colour& colour, const std::array<float, 4>& values) {
    const InUse guard(colour.inUse, "ColorAdjustment");
    colour.core.m_temperature = values[0];
    colour.core.m_tint = values[1];
    colour.core.m_saturation = values[2];
    colour.core.m_vibrance = values[3];
    colour.core.m_bChanged = true;
}

py::tuple adjust(Colour& colour, const py::object& before, const py::object& after, const py::object& dr,
                 const py::object& db, const Threads& threads) {
    const InUse guard(colour.inUse, "ColorAdjustment");
    const Input y0 = inputOf(before, "before", kWords);
    const cv::Size size = y0.plane.size();
    const Input y1 = inputOf(after, "after", kWords, size), red = inputOf(dr, "dr", kWords, size),
                blue = inputOf(db, "db", kWords, size);
    cv::Mat newDr, newDb;
    callCore(threads, [&] { colour.core.proc(y0.plane, y1.plane, red.plane, blue.plane, newDr, newDb); });
    return py::make_tuple(arrayOf(newDr), arrayOf(newDb));
}

}  // namespace

void addDetailEngine(py::module_& module) {
    using namespace py::literals;
    py::class_<Engine>(module, "DetailEngine")
        .def(py::init(&makeEngine))
        .def("set_detail", setDetail, "scale"_a, "zone"_a, "strength"_a, "threshold"_a)
        .def("set_light", setLight)
        .def("set_mix", setMix)
        .def("render", render, "x"_a, "y"_a, "width"_a, "height"_a, "step"_a, "extra"_a, "threads"_a)
        .def("chroma", chroma, "x"_a, "y"_a, "width"_a, "height"_a, "step"_a, "threads"_a)
        .def("strength", [](const Engine& e, int scale, int zone) { return e.core.m_k[3 * scale + zone]; })
        .def("threshold", [](const Engine& e, int scale, int zone) { return e.core.m_t[3 * scale + zone]; })
        .def_property_readonly("light",
                               [](const Engine& e) { return std::vector<float>(e.core.m_light, e.core.m_light + 6); })
        .def_property_readonly("mix",
                               [](const Engine& e) { return std::vector<float>(e.core.m_mix, e.core.m_mix + 3); })
        .def_property_readonly("max_plain_step", [](const Engine& e) { return e.core.m_maxPlainLevel; })
        .def_property_readonly("height", [](const Engine& e) { return e.core.m_Y.rows; })
        .def_property_readonly("width", [](const Engine& e) { return e.core.m_Y.cols; });
    py::class_<Colour>(module, "ColorAdjustment")
        .def(py::init<float, float, float, float, float, float>())
        .def("values", colourOf)
        .def("set_values", setColour)
        .def("apply", adjust, "before"_a, "after"_a, "dr"_a, "db"_a, "threads"_a);
}

}  // namespace kestrova::python
