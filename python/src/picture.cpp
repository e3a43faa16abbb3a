#include "picture.h"

#include <pybind11/stl.h>

#include "arrays.h"
#include "module.h"

namespace kestrova::python {

namespace {

std::unique_ptr<Picture> pictureOfBgra(const py::object& pixels, const Threads& threads) {
    const Input input = inputOf(pixels, "pixels", kBytes | kWords, 4);
    const cv::Mat& packed = input.plane;
    if (packed.step[0] > INT_MAX) refuse("pixels: expected rows of less than 2**31 bytes");
    const int step = static_cast<int>(packed.step[0] / packed.elemSize1());  // bytes, or words of words
    auto picture = std::make_unique<Picture>();
    callCore(threads, [&] {
        if (packed.depth() == CV_8U)
            picture->image.convertFrom(packed.ptr<uchar>(), packed.cols, packed.rows, step);
        else
            picture->image.convertFrom(packed.ptr<ushort>(), packed.cols, packed.rows, step);
    });
    return picture;
}

// Three planes whose rows lie equally far apart; copies where they do not.
std::vector<cv::Mat> planesOfOneStep(const std::vector<Input>& inputs) {
    std::vector<cv::Mat> planes = planesOf(inputs);
    if (planes[1].step[0] != planes[0].step[0] || planes[2].step[0] != planes[0].step[0])
        for (cv::Mat& plane : planes) plane = plane.clone();
    return planes;
}

std::vector<Input> rgbOf(const py::object& rgb) {
    std::vector<Input> inputs = guideOf(rgb, "rgb", kWords);
    if (inputs.size() != 3) refuse("rgb: expected an array of shape (height, width, 3)");
    return inputs;
}

std::unique_ptr<Picture> pictureOfRgb(const py::object& rgb, bool half, const Threads& threads) {
    const std::vector<Input> inputs = rgbOf(rgb);
    const std::vector<cv::Mat> planes = planesOfOneStep(inputs);
    if (planes[0].step[0] > INT_MAX) refuse("rgb: expected rows of less than 2**31 bytes");
    auto picture = std::make_unique<Picture>();
    callCore(threads, [&] {
        unsigned short* const pointers[3] = {const_cast<ushort*>(planes[0].ptr<ushort>()),
                                             const_cast<ushort*>(planes[1].ptr<ushort>()),
                                             const_cast<ushort*>(planes[2].ptr<ushort>())};
        const int step = static_cast<int>(planes[0].step[0]);
        if (half)
            picture->image.convertFrompRGB15U(pointers, planes[0].cols, planes[0].rows, step);
        else
            picture->image.convertFrompRGB(pointers, planes[0].cols, planes[0].rows, step);
    });
    return picture;
}

py::array toBgra(Picture& picture, const py::object& out, const Threads& threads) {
    const InUse guard(picture.inUse, "Picture");
    const TPImage& image = picture.image;
    Output output(out, image.m_Y.size(), CV_8UC4);
    callCore(threads, [&] { image.convertTo(output.plane.data, static_cast<int>(output.plane.step[0])); });
    return output.done();
}

// Three planes, one below the other, as an array (3, height, width).
py::array stacked(const cv::Mat& planes, int rows) { return arrayOf(planes).attr("reshape")(3, rows, planes.cols); }

std::vector<cv::Mat> thirds(const cv::Mat& planes) {
    const int rows = planes.rows / 3;
    return {planes.rowRange(0, rows), planes.rowRange(rows, 2 * rows), planes.rowRange(2 * rows, 3 * rows)};
}

py::array toRgb(Picture& picture, bool half, const Threads& threads) {
    const InUse guard(picture.inUse, "Picture");
    const TPImage& image = picture.image;
    cv::Mat planes;
    callCore(threads, [&] {
        planes.create(3 * image.height(), image.width(), CV_16UC1);
        std::vector<cv::Mat> rgb = thirds(planes);
        unsigned short* const pointers[3] = {rgb[0].ptr<ushort>(), rgb[1].ptr<ushort>(), rgb[2].ptr<ushort>()};
        const int step = static_cast<int>(planes.step[0]);
        if (half)
            image.convertTopRGB15U(pointers, step);
        else
            image.convertTopRGB(pointers, step);
    });
    return stacked(planes, image.height());
}

py::array toHalfRgb(Picture& picture, const Threads& threads) {
    const InUse guard(picture.inUse, "Picture");
    const TPImage& image = picture.image;
    cv::Mat planes;
    callCore(threads, [&] {
        planes.create(3 * image.hHeight(), image.hWidth(), CV_8UC1);
        std::vector<cv::Mat> rgb = thirds(planes);
        unsigned char* const pointers[3] = {rgb[0].ptr<uchar>(), rgb[1].ptr<uchar>(), rgb[2].ptr<uchar>()};
        image.convertToHalfpRGB(pointers, static_cast<int>(planes.step[0]));
    });
    return stacked(planes, image.hHeight());
}

std::unique_ptr<Picture> copyOf(Picture& picture) {
    const InUse guard(picture.inUse, "Picture");
    auto copy = std::make_unique<Picture>();
    callCore(std::nullopt, [&] { copy->image = picture.image.clone(true); });
    return copy;
}

py::array luminance(const py::object& rgb, bool half, const py::object& out, const Threads& threads) {
    const std::vector<Input> inputs = rgbOf(rgb);
    Output output(out, inputs[0].plane.size(), CV_16UC1);
    for (const Input& input : inputs) output.keepOff(input);
    callCore(threads, [&] {
        const auto convert = half ? &TPImage::PRGB15U2Y : &TPImage::PRGB2Y;
        convert(inputs[0].plane, inputs[1].plane, inputs[2].plane, output.plane);
    });
    return output.done();
}

py::array ydrdbToRgb(const py::object& y, const py::object& dr, const py::object& db, int bits,
                     const Threads& threads) {
    const Input light = inputOf(y, "y", kWords);
    const Input red = inputOf(dr, "dr", kWords, light.plane.size());
    const Input blue = inputOf(db, "db", kWords, light.plane.size());
    if (bits != 8 && bits != 15 && bits != 16) refuse("bits: expected 8, 15 or 16, got " + std::to_string(bits));
    cv::Mat planes;
    callCore(threads, [&] {
        planes.create(3 * light.plane.rows, light.plane.cols, bits == 8 ? CV_8UC1 : CV_16UC1);
        std::vector<cv::Mat> rgb = thirds(planes);
        const TPImage image;
        if (bits == 16)
            TPImage::YDRDB2RGB(light.plane, red.plane, blue.plane, rgb[0], rgb[1], rgb[2]);
        else if (bits == 15)
            image.YDRDB2RGB15U(light.plane, red.plane, blue.plane, rgb[0], rgb[1], rgb[2]);
        else
            image.YDRDB2RGB8U(light.plane, red.plane, blue.plane, rgb[0], rgb[1], rgb[2]);
    });
    return stacked(planes, light.plane.rows);
}

}  // namespace

void addPicture(py::module_& module) {
    py::class_<Picture>(module, "Picture")
        .def_static("from_bgra", pictureOfBgra)
        .def_static("from_rgb", pictureOfRgb)
        .def("to_bgra", toBgra)
        .def("to_rgb", toRgb)
        .def("to_half_rgb", toHalfRgb)
        .def("copy", copyOf)
        .def_property_readonly("y", [](const Picture& p) { return arrayOf(p.image.m_Y); })
        .def_property_readonly("dr", [](const Picture& p) { return arrayOf(p.image.m_Dr); })
        .def_property_readonly("db", [](const Picture& p) { return arrayOf(p.image.m_Db); })
        .def_property_readonly("mask", [](const Picture& p) { return arrayOf(p.image.m_mask); });
    module.def("luminance", luminance);
    module.def("ydrdb_to_rgb", ydrdbToRgb);
}

}  // namespace kestrova::python
