#include "tests/photo/pictures.h"

#include <OpenImageIO/imageio.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "photo/file_format.h"
#include "photo/write.h"
#include "tests/photo/files.h"

namespace kestrova::photo {

cv::Mat scene(cv::Size size, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> grain(-400, 400);
    cv::Mat out(size, CV_16UC4);
    for (int y = 0; y < size.height; ++y) {
        auto* p = out.ptr<ushort>(y);
        for (int x = 0; x < size.width; ++x) {
            const double u = static_cast<double>(x) / size.width, v = static_cast<double>(y) / size.height;
            double r = 0.15 + 0.6 * u, g = 0.2 + 0.5 * v, b = 0.7 - 0.5 * u * v;
            if ((x / 37 + y / 29) % 3 == 0) {  // tiles with edges
                r = 0.8 * r + 0.1;
                b = 0.4 * b;
            }
            const double texture = 0.05 * std::sin(x * 0.9) * std::sin(y * 0.7) + 0.06 * std::sin((x + y) * 0.11);
            const double c[3] = {b + texture, g + texture, r + texture};
            for (int i = 0; i < 3; ++i) p[4 * x + i] = cv::saturate_cast<ushort>(c[i] * 65535 + grain(random));
            p[4 * x + 3] = 65535;
        }
    }
    return out;
}

void makeFile(const std::string& path) {
    const std::string extension = path.substr(path.rfind('.') + 1);
    if (writtenFormat(path)) {
        writePhotograph(colourful(90, 70), path);
        return;
    }
    const auto output = OIIO::ImageOutput::create(path);
    // OpenImageIO's HEIF writer reads rows as long as the encoder pads them: 96 pixels need no padding.
    OIIO::ImageSpec spec(96, 70, 3, extension == "exr" ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::UINT8);
    ASSERT_TRUE(output && output->open(path, spec)) << extension;
    std::vector<float> pixels(96 * 70 * 3);
    for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = float(i / 3 % 96) / 96;
    ASSERT_TRUE(output->write_image(OIIO::TypeDesc::FLOAT, pixels.data()));
    output->close();
}

Photograph bundled(const std::string& name) {
    const auto file = OIIO::ImageInput::open(std::string(KESTROVA_PHOTOS "/") + name + ".png");
    if (!file) throw std::runtime_error("cannot read " + name);
    const OIIO::ImageSpec spec = file->spec();
    std::vector<ushort> values(static_cast<std::size_t>(spec.width) * spec.height * spec.nchannels);
    file->read_image(0, 0, 0, spec.nchannels, OIIO::TypeDesc::UINT16, values.data());
    cv::Mat pixels(spec.height, spec.width, CV_16UC4);
    for (std::size_t i = 0; i < pixels.total(); ++i) {
        ushort* p = pixels.ptr<ushort>() + 4 * i;
        for (int c = 0; c < 3; ++c) p[c] = values[i * static_cast<std::size_t>(spec.nchannels) + 2 - c];
        p[3] = 65535;
    }
    return photographOf(pixels, Profile::srgb(), spec.format == OIIO::TypeDesc::UINT8 ? 8 : 16);
}

bool sameValues(const cv::Mat& a, const cv::Mat& b) {
    if (a.size() != b.size() || a.type() != b.type()) {
        ADD_FAILURE() << "sizes or types differ: " << a.size() << " and " << b.size();
        return false;
    }
    for (int y = 0; y < a.rows; ++y) {
        const std::size_t bytes = static_cast<std::size_t>(a.cols) * a.elemSize();
        if (std::memcmp(a.ptr(y), b.ptr(y), bytes) == 0) continue;
        std::size_t i = 0;
        while (a.ptr(y)[i] == b.ptr(y)[i]) ++i;
        ADD_FAILURE() << "first difference at " << i / a.elemSize() << ", " << y;
        return false;
    }
    return true;
}

int largestDifference(const cv::Mat& a, const cv::Mat& b) {
    EXPECT_EQ(a.size(), b.size());
    int largest = 0;
    for (int y = 0; y < a.rows; ++y)
        for (int i = 0; i < a.cols * a.channels(); ++i) {
            const int d = a.depth() == CV_8U ? std::abs(a.ptr(y)[i] - b.ptr(y)[i])
                                             : std::abs(a.ptr<ushort>(y)[i] - b.ptr<ushort>(y)[i]);
            largest = std::max(largest, d);
        }
    return largest;
}

cv::Vec2d meanAndDeviation(const cv::Mat& pixels, const cv::Rect& where, int channel) {
    double sum = 0, squares = 0;
    for (int y = where.y; y < where.y + where.height; ++y)
        for (int x = where.x; x < where.x + where.width; ++x) {
            const double v = pixels.ptr<ushort>(y)[4 * x + channel] / 257.0;
            sum += v;
            squares += v * v;
        }
    const double n = where.area(), mean = sum / n;
    return {mean, std::sqrt(std::max(0.0, squares / n - mean * mean))};
}

Settings lively() {
    Settings settings;
    settings.small = allZones(0.4f);
    settings.medium = {{0.3f, 0.1f}, {-0.2f, 0}, {0.2f, -0.2f}};
    settings.large = allZones(0.2f);
    settings.light.shadows = 0.4f;
    settings.light.brightness = 0.2f;
    settings.mix.red = 0.2f;
    settings.colour.vibrance = 0.4f;
    settings.colour.temperature = -0.2f;
    settings.noise.luminance = 0.3f;
    settings.noise.colour = 0.5f;
    return settings;
}

Stroke strokeAcross(double tolerance) {
    Stroke stroke;
    stroke.points = {{0.2, 0.3}, {0.7, 0.6}};
    stroke.radius = 0.1;
    stroke.tolerance = tolerance;
    return stroke;
}

Settings withLayers() {
    Settings settings = lively();
    Layer light, colour;
    light.adjustments.light.brightness = -0.5f;
    light.mask.strokes = {strokeAcross()};
    colour.adjustments.colour.saturation = -1;
    colour.adjustments.small = allZones(-0.5f);
    colour.mask.strokes = {strokeAcross(0.5)};
    colour.mask.inverted = true;
    settings.layers = {light, colour};
    return settings;
}

}  // namespace kestrova::photo
