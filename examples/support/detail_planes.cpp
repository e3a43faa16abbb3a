#include "detail_planes.h"

#include <algorithm>
#include <cmath>

#include "refusal.h"

namespace {

constexpr int kCubic = 4;
constexpr int kZeroDetail = 32768;

// A blur through h halvings has a sigma of some 4/3 x 2^h pixels. That of the small scale is about 1/1200 of the mean
// side of the picture, and each scale is four times as coarse as the one before.
constexpr double kSigmaWithoutHalving = 4.0 / 3;
constexpr double kSmallSigmaOfSide = 1.0 / 1200;
constexpr int kHalvingsToNextScale = 2;

int halvingsOfSmallScale(const cv::Mat& Y) {
    const double meanSide = std::sqrt(static_cast<double>(Y.rows) * Y.cols);
    return std::max(0, static_cast<int>(std::lround(std::log2(meanSide * kSmallSigmaOfSide / kSigmaWithoutHalving))));
}

/// Mean of 3x3 pixels; the plane's edge is continued outwards.
cv::Mat smooth(const cv::Mat& plane) { return TPImage::MatRoi(plane, 0, 0, plane.cols, plane.rows, 1, false, true); }

/// Half the size. Two means of 3x3 leave at most a ninth of what is too fine for the smaller grid.
cv::Mat halve(const cv::Mat& plane) {
    return TPImage::MatRoi(smooth(plane), 0, 0, plane.cols / 2, plane.rows / 2, 2, false, true);
}

/// A pyramid level as a blurred plane at full size. Without the means the coarse grid would show through the cubic.
cv::Mat enlarge(const cv::Mat& level, int halvings) {
    cv::Mat plane = smooth(smooth(level));
    for (; halvings > 0; --halvings) {
        cv::Mat twice(2 * plane.rows, 2 * plane.cols, plane.type());
        upSize2X(plane, twice, kCubic);
        plane = twice;
    }
    return plane;
}

/// The plane continued to the right and below by its own edge, to sides that `halvings` divide without a rest, with at
/// least one pixel of the coarsest level to spare: so no resize meets an edge inside the picture.
cv::Mat continued(const cv::Mat& plane, int halvings) {
    const int unit = 1 << halvings;
    const auto missing = [unit](int side) { return 2 * unit - (side - 1) % unit - 1; };
    cv::Mat out;
    cv::copyMakeBorder(plane, out, 0, missing(plane.rows), 0, missing(plane.cols), cv::BORDER_REPLICATE);
    return out;
}

/// Moves half of what `rest` has above `blurred` into a detail plane. The division cuts towards zero, so `rest` keeps
/// the odd unit and stays between its old value and the blurred one.
cv::Mat takeDetail(cv::Mat& rest, const cv::Mat& blurred) {
    cv::Mat detail(rest.size(), CV_16UC1);
    for (int y = 0; y < rest.rows; ++y) {
        const auto* b = blurred.ptr<ushort>(y);
        auto* r = rest.ptr<ushort>(y);
        auto* d = detail.ptr<ushort>(y);
        for (int x = 0; x < rest.cols; ++x) {
            const int half = (r[x] - b[x]) / 2;
            d[x] = static_cast<ushort>(half + kZeroDetail);
            r[x] = static_cast<ushort>(r[x] - 2 * half);
        }
    }
    return detail;
}

}  // namespace

DetailPlanes computeDetailPlanes(const cv::Mat& Y, TProgress& progress) {
    DetailPlanes planes;
    planes.base = Y.clone();

    const int finest = halvingsOfSmallScale(Y);
    cv::Mat level = continued(Y, finest + 2 * kHalvingsToNextScale);
    int halvings = 0, done = 0;
    for (cv::Mat* detail : {&planes.small, &planes.medium, &planes.large}) {
        for (const int wanted = finest + done * kHalvingsToNextScale; halvings < wanted; ++halvings)
            level = halve(level);
        *detail = takeDetail(planes.base, enlarge(level, halvings));
        proceed(progress.prog(++done, 3));
    }
    return planes;
}
