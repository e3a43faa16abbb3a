#pragma once

#include <opencv2/core.hpp>
#include <string>

#include "photo/development.h"
#include "photo/photograph.h"

/// Photographs for the tests.
namespace kestrova::photo {

/// Of pixels (CV_16UC4).
inline Photograph photographOf(const cv::Mat& pixels, const Profile& profile = Profile::srgb(), int sourceBits = 16) {
    Photograph photograph;
    photograph.pixels = pixels;
    photograph.profile = profile;
    photograph.sourceBits = sourceBits;
    return photograph;
}

/// Shapes with edges, gradients, texture, colours and grain at every place; the same for the same size and seed.
cv::Mat scene(cv::Size size, unsigned seed = 1);

/// One of the bundled photographs: its PNG without the suffix.
Photograph bundled(const std::string& name);

/// A small picture in the format of the name's extension: those that the layer writes, OpenEXR, JPEG 2000, HEIC, AVIF.
void makeFile(const std::string& path);

/// All sliders of a group at once, for instance the strengths of a scale.
inline Scale allZones(float strength, float threshold = 0) {
    const Detail detail{strength, threshold};
    return {detail, detail, detail};
}

/// Every stage at work.
Settings lively();
/// From the left to the lower right.
Stroke strokeAcross(double tolerance = 0);
/// `lively` with two layers under masks.
Settings withLayers();

inline cv::Mat rendered16(Development& development, const cv::Rect& view, int step = 1) {
    Development::Output output;
    output.bits = 16;
    return development.render(view, step, output).pixels;
}
inline cv::Mat rendered16(Development& development) {
    return rendered16(development, {cv::Point(), development.size()});
}
inline cv::Mat rendered16(const cv::Mat& pixels, const Settings& settings, const Profile& profile = Profile::srgb()) {
    Development development(photographOf(pixels, profile));
    development.set(settings);
    return rendered16(development);
}

/// Whether all values are the same; says where the first other one is.
bool sameValues(const cv::Mat& a, const cv::Mat& b);

/// The largest difference of a channel's value.
int largestDifference(const cv::Mat& a, const cv::Mat& b);

/// Mean and standard deviation of a channel in a rectangle, on the scale of 255.
cv::Vec2d meanAndDeviation(const cv::Mat& pixels, const cv::Rect& where, int channel);

}  // namespace kestrova::photo
