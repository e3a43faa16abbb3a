#include <pybind11/stl.h>

#include "arrays.h"
#include "module.h"
#include "picture.h"

namespace kestrova::python {

namespace {

struct Brush {
    TDrawMask core;
    bool strokeOpen = false;
    InUse::Flag inUse{false};
};

constexpr const char* kName = "Mask";
constexpr int kMostRadius = 15999;  // in pixels of the picture: half of it is below the 8000 entries of a soft profile

std::unique_ptr<Brush> brushOfPicture(Picture& picture) {
    const InUse guard(picture.inUse, "Picture");
    auto brush = std::make_unique<Brush>();
    callCore(std::nullopt, [&] { brush->core.setInImage(&picture.image); });
    return brush;
}

std::unique_ptr<Brush> brushOfPlanes(const py::object& y, const py::object& dr, const py::object& db) {
    const Input light = inputOf(y, "y", kBytes);
    const cv::Mat luminance = sharedPlane(light);
    cv::Mat red, blue;
    if (!dr.is_none()) red = sharedPlane(inputOf(dr, "dr", kWords, luminance.size()));
    if (!db.is_none()) blue = sharedPlane(inputOf(db, "db", kWords, luminance.size()));
    if (red.empty() != blue.empty()) refuse("dr, db: expected both or neither");
    auto brush = std::make_unique<Brush>();
    callCore(std::nullopt, [&] { brush->core.setInImage(luminance, red, blue); });
    return brush;
}

uchar byteOf(int value) {
    if (value < 0 || value > 255) refuse("value: expected 0 to 255, got " + std::to_string(value));
    return static_cast<uchar>(value);
}

template <class Command>
void record(Brush& brush, bool withinStroke, const Command& command) {
    const InUse guard(brush.inUse, kName);
    if (brush.strokeOpen != withinStroke)
        raiseError(withinStroke ? "Mask: no stroke has been begun" : "Mask: a stroke has not been ended",
                   "programming");
    callCore(std::nullopt, [&] { command(brush.core); });
}

void begin(Brush& brush) {
    record(brush, false, [](TDrawMask& core) { core.drawStart(0, 1); });
    brush.strokeOpen = true;
}

void dot(Brush& brush, int x, int y, int radius, int innerRadius, int value, float opacity, float tolerance) {
    const uchar byte = byteOf(value);
    if (radius < 0 || radius > kMostRadius)
        refuse("radius: expected 0 to " + std::to_string(kMostRadius) + ", got " + std::to_string(radius));
    if (innerRadius < 0 || innerRadius > radius) refuse("inner_radius: expected 0 to the radius");
    if (!(opacity >= 0 && opacity <= 1)) refuse("opacity: expected 0 to 1");
    if (!(tolerance >= 0)) refuse("tolerance: expected 0 or more");
    record(brush, true,
           [&](TDrawMask& core) { core.drawADot(cv::Point(x, y), byte, radius, innerRadius, opacity, tolerance); });
}

void end(Brush& brush) {
    record(brush, true, [](TDrawMask& core) { core.drawEnd(); });
    brush.strokeOpen = false;
}

py::array pixels(Brush& brush, const Threads& threads) {
    const InUse guard(brush.inUse, kName);
    cv::Mat mask;
    callCore(threads, [&] {
        brush.core.proc();
        mask = brush.core.getMaskRoi(cv::Rect(), 0);
    });
    return arrayOf(mask);
}

py::array view(Brush& brush, int x, int y, int width, int height, int step, const Threads& threads) {
    const InUse guard(brush.inUse, kName);
    if (step < 1) refuse("step: expected 1 or more, got " + std::to_string(step));
    if (width < 1 || height < 1) refuse("width, height: expected numbers above 0");
    cv::Mat mask;
    callCore(threads, [&] {
        brush.core.proc();
        mask = brush.core.getMaskRoi(cv::Rect(x, y, width, height), step);
    });
    return arrayOf(mask);
}

bool changed(Brush& brush) {
    const InUse guard(brush.inUse, kName);
    callCore(std::nullopt, [&] { brush.core.proc(); });
    return brush.core.bdirty();
}

}  // namespace

void addMask(py::module_& module) {
    using namespace py::literals;
    py::class_<Brush>(module, "Mask")
        .def(py::init(&brushOfPicture))
        .def(py::init(&brushOfPlanes))
        .def("begin_stroke", begin)
        .def("dot", dot, "x"_a, "y"_a, "radius"_a, "inner_radius"_a, "value"_a, "opacity"_a, "tolerance"_a)
        .def("end_stroke", end)
        .def("fill",
             [](Brush& brush, int value) {
                 record(brush, false, [byte = byteOf(value)](TDrawMask& core) { core.setValue(byte); });
             })
        .def("invert", [](Brush& brush) { record(brush, false, [](TDrawMask& core) { core.invert(); }); })
        .def("undo", [](Brush& brush) { record(brush, false, [](TDrawMask& core) { core.undo(); }); })
        .def("reset", [](Brush& brush) { record(brush, false, [](TDrawMask& core) { core.reset(); }); })
        .def("pixels", pixels)
        .def("view", view)
        .def_property_readonly("changed", changed);
}

}  // namespace kestrova::python
