#include "tests/support/planes.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <type_traits>

namespace {

// xorshift32: the same numbers everywhere, unlike the library's distributions.
struct Random {
    std::uint32_t state;
    explicit Random(std::uint32_t seed) : state(seed * 2654435761u + 1u) {}
    double unit() {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state / 4294967296.0;
    }
};

double element(const cv::Mat& plane, int y, int x) {
    switch (plane.depth()) {
        case CV_8U: return plane.ptr<uchar>(y)[x];
        case CV_8S: return plane.ptr<schar>(y)[x];
        case CV_16U: return plane.ptr<ushort>(y)[x];
        case CV_16S: return plane.ptr<short>(y)[x];
        case CV_32S: return plane.ptr<int>(y)[x];
        case CV_32F: return plane.ptr<float>(y)[x];
        case CV_64F: return plane.ptr<double>(y)[x];
        default: CV_Error(cv::Error::StsUnsupportedFormat, "no planes of half floats");
    }
}

template <class Pixel>
void fill(cv::Mat& plane, double low, double high, Random& random) {
    const int width = plane.cols * plane.channels();
    for (int y = 0; y < plane.rows; ++y) {
        for (int x = 0; x < width; ++x) {
            if constexpr (std::is_integral_v<Pixel>) {
                const double whole = std::floor(low + random.unit() * (high - low + 1));
                plane.ptr<Pixel>(y)[x] = static_cast<Pixel>(static_cast<std::int64_t>(whole));
            } else {
                plane.ptr<Pixel>(y)[x] = static_cast<Pixel>(low + random.unit() * (high - low));
            }
        }
    }
}

std::string neighbourhood(const cv::Mat& expected, const cv::Mat& actual, int row, int col) {
    std::ostringstream text;
    text.precision(9);
    const int width = expected.cols * expected.channels();
    for (const cv::Mat* plane : {&expected, &actual}) {
        text << (plane == &expected ? "expected around it:\n" : "actual around it:\n");
        for (int y = std::max(row - 2, 0); y <= std::min(row + 2, expected.rows - 1); ++y) {
            for (int x = std::max(col - 3, 0); x <= std::min(col + 3, width - 1); ++x)
                text << ' ' << element(*plane, y, x);
            text << '\n';
        }
    }
    return text.str();
}

}  // namespace

cv::Mat randomPlane(int rows, int cols, int type, std::uint32_t seed) {
    switch (CV_MAT_DEPTH(type)) {
        case CV_8U: return randomPlane(rows, cols, type, 0, 255, seed);
        case CV_8S: return randomPlane(rows, cols, type, -128, 127, seed);
        case CV_16S: return randomPlane(rows, cols, type, -32768, 32767, seed);
        case CV_16U: return randomPlane(rows, cols, type, 0, 65535, seed);
        default: return randomPlane(rows, cols, type, -1000, 1000, seed);
    }
}

cv::Mat randomPlane(int rows, int cols, int type, double low, double high, std::uint32_t seed) {
    cv::Mat plane(rows, cols, type);
    Random random(seed);
    switch (plane.depth()) {
        case CV_8U: fill<uchar>(plane, low, high, random); break;
        case CV_8S: fill<schar>(plane, low, high, random); break;
        case CV_16U: fill<ushort>(plane, low, high, random); break;
        case CV_16S: fill<short>(plane, low, high, random); break;
        case CV_32S: fill<int>(plane, low, high, random); break;
        case CV_32F: fill<float>(plane, low, high, random); break;
        case CV_64F: fill<double>(plane, low, high, random); break;
        default: CV_Error(cv::Error::StsUnsupportedFormat, "no planes of half floats");
    }
    return plane;
}

cv::Mat asSubPlane(const cv::Mat& plane) {
    cv::Mat larger = randomPlane(plane.rows + 5, plane.cols + 13, plane.type(), 77);
    cv::Mat inner = larger(cv::Rect(7, 3, plane.cols, plane.rows));
    plane.copyTo(inner);
    return inner;
}

const std::vector<cv::Size>& testSizes() {
    static const std::vector<cv::Size> sizes = {{1, 1}, {2, 1}, {1, 2}, {2, 2},   {3, 3},   {7, 1},    {1, 7},
                                                {7, 5}, {8, 6}, {5, 8}, {33, 17}, {64, 48}, {301, 227}};
    return sizes;
}

testing::AssertionResult closePixels(const cv::Mat& expected, const cv::Mat& actual, double tolerance) {
    if (expected.size() != actual.size() || expected.type() != actual.type())
        return testing::AssertionFailure()
               << "size or type differ: expected " << expected.cols << "x" << expected.rows << " type "
               << expected.type() << ", actual " << actual.cols << "x" << actual.rows << " type " << actual.type();
    const int width = expected.cols * expected.channels();
    double worst = -1;
    int worstRow = 0, worstCol = 0, firstRow = -1, firstCol = -1;
    long long count = 0;
    for (int y = 0; y < expected.rows; ++y) {
        if (tolerance == 0 && std::memcmp(expected.ptr(y), actual.ptr(y), expected.elemSize() * expected.cols) == 0)
            continue;
        for (int x = 0; x < width; ++x) {
            const std::size_t size = expected.elemSize1();
            if (std::memcmp(expected.ptr(y) + x * size, actual.ptr(y) + x * size, size) == 0) continue;
            double difference = std::abs(element(expected, y, x) - element(actual, y, x));
            if (std::isnan(difference)) difference = INFINITY;
            if (tolerance > 0 && difference <= tolerance) continue;
            if (count++ == 0) firstRow = y, firstCol = x;
            if (difference > worst) worst = difference, worstRow = y, worstCol = x;
        }
    }
    if (count == 0) return testing::AssertionSuccess();
    return testing::AssertionFailure() << count << " pixels differ, the first at row " << firstRow << ", column "
                                       << firstCol << "; the worst by " << worst << " at row " << worstRow
                                       << ", column " << worstCol << '\n'
                                       << neighbourhood(expected, actual, worstRow, worstCol);
}

testing::AssertionResult samePixels(const cv::Mat& expected, const cv::Mat& actual) {
    return closePixels(expected, actual, 0);
}
