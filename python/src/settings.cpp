#include "photo/settings.h"

#include <pybind11/stl.h>

#include "module.h"
#include "photo_call.h"

// The package's own Settings are plain Python values; they come here as the JSON of a settings file, whose reader
// checks them.

namespace kestrova::python {

namespace {

py::list sliders() {
    py::list all;
    for (const photo::Slider& slider : photo::sliders())
        all.append(py::make_tuple(slider.name, slider.group, slider.least, slider.greatest, slider.tip));
    return all;
}

py::list presets() {
    py::list all;
    for (const photo::Preset& preset : photo::presets())
        all.append(py::make_tuple(preset.name, preset.tip, preset.settings.toJson()));
    return all;
}

std::string checked(const std::string& json) {
    std::string canonical;
    callPhoto(py::none(), [&](photo::Control&) { canonical = photo::Settings::fromJson(json).toJson(); });
    return canonical;
}

std::string load(const std::string& path) {
    std::string json;
    callPhoto(py::none(), [&](photo::Control&) { json = photo::Settings::load(path).toJson(); });
    return json;
}

void save(const std::string& json, const std::string& path) {
    callPhoto(py::none(), [&](photo::Control&) { photo::Settings::fromJson(json).save(path); });
}

}  // namespace

void addSettings(py::module_& module) {
    module.def("sliders", sliders);
    module.def("presets", presets);
    module.def("checked_settings", checked);
    module.def("load_settings", load);
    module.def("save_settings", save);
    module.def("sidecar_of", &photo::Settings::sidecarOf);
}

}  // namespace kestrova::python
