#include "photo/development.h"

#include <pybind11/stl.h>

#include <array>

#include "arrays.h"
#include "in_use.h"
#include "module.h"
#include "photo_call.h"

namespace kestrova::python {

namespace {

using photo::Photograph;
using photo::Profile;

// Photographs that were developed in 8 bits can be developed again.
Photograph withWords(const Photograph& photograph) {
    Photograph source = photograph;
    if (source.pixels.depth() == CV_8U) photograph.pixels.convertTo(source.pixels, CV_16U, 257);
    return source;
}

struct Development {
    photo::Development core;
    InUse::Flag inUse{false};

    Development(Photograph photograph, const photo::Development::Options& options)
        : core(std::move(photograph), options) {}
};

constexpr const char* kName = "Development";

std::unique_ptr<Development> makeDevelopment(const std::shared_ptr<Photograph>& photograph, std::size_t keptForView,
                                             std::size_t mostMemory, const Threads& threads) {
    photo::Development::Options options;
    options.threads = photoThreads(threads);
    options.keptForView = keptForView;
    options.mostMemory = mostMemory;
    std::unique_ptr<Development> development;
    callPhoto(py::none(),
              [&](photo::Control&) { development = std::make_unique<Development>(withWords(*photograph), options); });
    return development;
}

void setSettings(Development& development, const std::string& json) {
    const InUse guard(development.inUse, kName);
    callPhoto(py::none(), [&](photo::Control&) { development.core.set(photo::Settings::fromJson(json)); });
}

std::string settingsOf(Development& development) {
    const InUse guard(development.inUse, kName);
    return development.core.settings().toJson();
}

py::tuple shapeOf(Development& development) {
    const InUse guard(development.inUse, kName);
    const cv::Size size = development.core.size();
    return py::make_tuple(size.height, size.width);
}

using View = std::optional<std::array<int, 4>>;

py::tuple render(Development& development, const View& view, int step, int bits, const std::optional<Profile>& profile,
                 int maskOfLayer, const py::object& progress) {
    const InUse guard(development.inUse, kName);
    photo::Development::Output output;
    output.bits = bits;
    output.profile = profile;
    output.maskOfLayer = maskOfLayer;
    photo::Development::Rendering rendering;
    callPhoto(progress, [&](photo::Control& control) {
        const cv::Rect part = view ? cv::Rect((*view)[0], (*view)[1], (*view)[2], (*view)[3])
                                   : cv::Rect(cv::Point(), development.core.size());
        rendering = development.core.render(part, step, output, &control);
    });
    return py::make_tuple(arrayOf(rendering.pixels),
                          rendering.mask.empty() ? py::object(py::none()) : arrayOf(rendering.mask), rendering.profile);
}

// A photograph that is developed and carries along what the source carried. Without a profile it is in the one that a
// file made of the source is in, or in the source's own where that is no RGB profile.
std::shared_ptr<Photograph> develop(const std::shared_ptr<Photograph>& photograph, const std::string& json, int bits,
                                    const std::optional<Profile>& profile, const Threads& threads,
                                    const py::object& progress) {
    const int most = photoThreads(threads);
    auto developed = std::make_shared<Photograph>();
    callPhoto(progress, [&](photo::Control& control) {
        *developed = *photograph;
        developed->pixels.release();
        if (profile) developed->outputProfile = *profile;
        const bool rgb = developed->outputProfile.channels() == 3;
        developed->profile = rgb ? developed->outputProfile : photograph->profile;

        photo::Development::Options options;
        options.threads = most;
        options.keptForView = 0;
        photo::Development development(withWords(*photograph), options);
        development.set(photo::Settings::fromJson(json));
        photo::Development::Output output;
        output.bits = bits;
        output.profile = developed->profile;
        developed->pixels = development.render(output, &control).pixels;
    });
    return developed;
}

}  // namespace

void addDevelopment(py::module_& module) {
    py::class_<Development>(module, "Development")
        .def(py::init(&makeDevelopment))
        .def("set", setSettings)
        .def("render", render)
        .def_property_readonly("settings", settingsOf)
        .def_property_readonly("shape", shapeOf);
    module.def("develop", develop);
}

}  // namespace kestrova::python
