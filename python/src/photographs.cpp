#include <pybind11/stl.h>

#include "arrays.h"
#include "module.h"
#include "photo/file_format.h"
#include "photo/metadata.h"
#include "photo/read.h"
#include "photo/write.h"
#include "photo_call.h"

namespace kestrova::python {

namespace {

using photo::Photograph;
using photo::Profile;

Profile profileOfBytes(const std::string& bytes) {
    std::optional<Profile> profile;
    callPhoto(py::none(), [&](photo::Control&) { profile = Profile::fromBytes({bytes.begin(), bytes.end()}); });
    return *profile;
}

Profile profileOfFile(const std::string& path) {
    std::optional<Profile> profile;
    callPhoto(py::none(), [&](photo::Control&) { profile = Profile::fromFile(path); });
    return *profile;
}

py::bytes bytesOf(const Profile& profile) {
    const auto& bytes = profile.bytes();
    return py::bytes(reinterpret_cast<const char*>(bytes.data()), bytes.size());
}

std::shared_ptr<Photograph> photographOf(const py::object& bgra, const Profile& profile, bool hasAlpha) {
    const Input input = inputOf(bgra, "pixels", kBytes | kWords, 4);
    auto photograph = std::make_shared<Photograph>();
    photograph->sourceBits = input.plane.depth() == CV_8U ? 8 : 16;
    photograph->hasAlpha = hasAlpha;
    photograph->profile = photograph->outputProfile = profile;
    callCore(std::nullopt, [&] {
        input.plane.convertTo(photograph->pixels, CV_16U, photograph->sourceBits == 8 ? 257 : 1);
        if (photograph->pixels.data == input.plane.data) photograph->pixels = input.plane.clone();
    });
    return photograph;
}

py::dict metadataOf(const Photograph& photograph) {
    py::dict texts;
    if (!photograph.metadata) return texts;
    for (const std::string& key : photograph.metadata->keys()) {
        const std::string text = photograph.metadata->text(key);
        texts[py::str(key)] = py::reinterpret_steal<py::object>(
            PyUnicode_DecodeUTF8(text.data(), static_cast<py::ssize_t>(text.size()), "replace"));
    }
    return texts;
}

std::shared_ptr<Photograph> read(const std::string& path, int longEdge, double maxMegapixels, std::size_t maxMemory,
                                 const Threads& threads) {
    photo::ReadOptions options;
    options.maxMegapixels = maxMegapixels;
    options.maxMemory = maxMemory;
    options.threads = photoThreads(threads);
    auto photograph = std::make_shared<Photograph>();
    callPhoto(py::none(), [&](photo::Control& control) {
        options.cancel = control.flag();
        *photograph = longEdge > 0 ? photo::readPreview(path, longEdge, options) : photo::readPhotograph(path, options);
    });
    return photograph;
}

py::tuple write(const std::shared_ptr<Photograph>& photograph, const std::string& path,
                const std::optional<photo::FileFormat>& format, int bits, int quality, photo::ChromaSampling chroma,
                photo::MetadataChoice metadata, const Threads& threads) {
    photo::WriteOptions options;
    options.format = format;
    options.bits = bits;
    options.quality = quality;
    options.chroma = chroma;
    options.metadata = metadata;
    options.threads = photoThreads(threads);
    photo::WriteReport report;
    callPhoto(py::none(), [&](photo::Control& control) {
        options.cancel = control.flag();
        report = photo::writePhotograph(*photograph, path, options);
    });
    return py::make_tuple(report.bytes, report.notes);
}

}  // namespace

void addPhotographs(py::module_& module) {
    py::class_<Profile>(module, "Profile")
        .def_static("srgb", &Profile::srgb)
        .def_static("display_p3", &Profile::displayP3)
        .def_static("adobe_rgb", &Profile::adobeRgb)
        .def_static("from_bytes", profileOfBytes)
        .def_static("from_file", profileOfFile)
        .def("equals", &Profile::operator==)
        .def_property_readonly("bytes", bytesOf)
        .def_property_readonly("name", &Profile::name)
        .def_property_readonly("channels", &Profile::channels);
    // Photographs are never changed once they are made, so that several threads may share one.
    py::class_<Photograph, std::shared_ptr<Photograph>>(module, "Photograph")
        .def(py::init(&photographOf))
        .def_property_readonly("pixels", [](const Photograph& p) { return arrayOf(p.pixels, false); })
        .def_readonly("has_alpha", &Photograph::hasAlpha)
        .def_readonly("source_bits", &Photograph::sourceBits)
        .def_readonly("grey", &Photograph::grey)
        .def_readonly("profile", &Photograph::profile)
        .def_readonly("output_profile", &Photograph::outputProfile)
        .def_readonly("notes", &Photograph::notes)
        .def_property_readonly("metadata", metadataOf);
    py::enum_<photo::FileFormat>(module, "FileFormat")
        .value("jpeg", photo::FileFormat::jpeg)
        .value("png", photo::FileFormat::png)
        .value("tiff", photo::FileFormat::tiff)
        .value("webp", photo::FileFormat::webp);
    py::enum_<photo::ChromaSampling>(module, "ChromaSampling")
        .value("auto", photo::ChromaSampling::byQuality)
        .value("full", photo::ChromaSampling::full)
        .value("half", photo::ChromaSampling::half);
    py::enum_<photo::MetadataChoice>(module, "MetadataChoice")
        .value("all", photo::MetadataChoice::all)
        .value("copyright", photo::MetadataChoice::copyright)
        .value("none", photo::MetadataChoice::none);
    module.def("read", read);
    module.def("has_photograph_name", photo::hasPhotographName);
    module.def("write", write);
}

}  // namespace kestrova::python
