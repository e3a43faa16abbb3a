#include "tests/primitives/resize_reference.h"

#include <algorithm>
#include <vector>

namespace {

Wide floorDivide(Wide a, Wide b) { return a / b - (a % b < 0); }

// The taps of one destination pixel; weights are exact fractions over `under`.
struct ReferenceTaps {
    std::vector<int> index;
    std::vector<Wide> over;
    Wide under;
};

ReferenceTaps referenceTaps(int d, Fraction factor, Fraction shift, int code, int begin, int end) {
    // position of the centre d + 1/2 - shift, divided by the factor
    const Wide under = Wide{2} * shift.under * factor.over;
    const Wide position = (Wide{2 * d + 1} * shift.under - Wide{2} * shift.over) * factor.under;
    const auto clamp = [&](Wide i) { return static_cast<int>(std::min<Wide>(std::max<Wide>(i, begin), end - 1)); };
    if (code == IPPI_INTER_NN) return {{clamp(floorDivide(position, under))}, {1}, 1};

    // from centre to centre: half a pixel less
    const Wide centre = 2 * position - under, u = 2 * under;
    const Wide pixel = floorDivide(centre, u), t = centre - pixel * u;
    if (t == 0) return {{clamp(pixel)}, {1}, 1};
    if (code == IPPI_INTER_LINEAR) return {{clamp(pixel), clamp(pixel + 1)}, {u - t, t}, u};
    // Keys' kernel for a = -1/2 at distance x: 3/2 x^3 - 5/2 x^2 + 1 within 1, -1/2 x^3 + 5/2 x^2 - 4 x + 2 from 1 to 2
    const auto keys = [u](Wide x) {
        return x <= u ? 3 * x * x * x - 5 * x * x * u + 2 * u * u * u
                      : -x * x * x + 5 * x * x * u - 8 * x * u * u + 4 * u * u * u;
    };
    return {{clamp(pixel - 1), clamp(pixel), clamp(pixel + 1), clamp(pixel + 2)},
            {keys(u + t), keys(t), keys(u - t), keys(2 * u - t)},
            2 * u * u * u};
}

template <class T>
T referencePixel(const cv::Mat& src, const ReferenceTaps& x, const ReferenceTaps& y, T top) {
    Wide sum = 0;
    for (std::size_t j = 0; j < y.index.size(); ++j)
        for (std::size_t i = 0; i < x.index.size(); ++i)
            sum += y.over[j] * x.over[i] * src.ptr<T>(y.index[j])[x.index[i]];
    const Wide under = x.under * y.under;
    return static_cast<T>(std::min<Wide>(std::max<Wide>(floorDivide(2 * sum + under, 2 * under), 0), top));
}

float referencePixel(const cv::Mat& src, const ReferenceTaps& x, const ReferenceTaps& y) {
    const auto weight = [](const ReferenceTaps& taps, std::size_t k) {
        return static_cast<double>(taps.over[k]) / static_cast<double>(taps.under);
    };
    double sum = 0;
    for (std::size_t j = 0; j < y.index.size(); ++j) {
        double row = 0;
        for (std::size_t i = 0; i < x.index.size(); ++i) row += weight(x, i) * src.ptr<float>(y.index[j])[x.index[i]];
        sum += weight(y, j) * row;
    }
    return static_cast<float>(sum);
}

}  // namespace

IppStatus resize(const cv::Mat& src, IppiRect srcROI, cv::Mat& dst, IppiRect dstROI, double xFactor, double yFactor,
                 double xShift, double yShift, int code) {
    const IppiSize srcSize = {src.cols, src.rows};
    const int srcStep = static_cast<int>(src.step), dstStep = static_cast<int>(dst.step);
    switch (src.type()) {
        case CV_8UC1:
            return ippiResizeSqrPixel_8u_C1R(src.ptr<uchar>(), srcSize, srcStep, srcROI, dst.ptr<uchar>(), dstStep,
                                             dstROI, xFactor, yFactor, xShift, yShift, code, nullptr);
        case CV_16UC1:
            return ippiResizeSqrPixel_16u_C1R(src.ptr<ushort>(), srcSize, srcStep, srcROI, dst.ptr<ushort>(), dstStep,
                                              dstROI, xFactor, yFactor, xShift, yShift, code, nullptr);
        default:
            return ippiResizeSqrPixel_32f_C1R(src.ptr<float>(), srcSize, srcStep, srcROI, dst.ptr<float>(), dstStep,
                                              dstROI, xFactor, yFactor, xShift, yShift, code, nullptr);
    }
}

cv::Mat resized(const cv::Mat& src, cv::Size size, const Resize& r) {
    cv::Mat dst(size, src.type(), cv::Scalar(77));
    EXPECT_EQ(resize(src, {0, 0, src.cols, src.rows}, dst, {0, 0, size.width, size.height}, r.xFactor.value(),
                     r.yFactor.value(), r.xShift.value(), r.yShift.value(), r.code),
              ippStsNoErr);
    return dst;
}

cv::Mat resizedRow(const cv::Mat& row, int width, double factor, double shift, int code) {
    cv::Mat dst(1, width, row.type(), cv::Scalar(0));
    EXPECT_EQ(resize(row, {0, 0, row.cols, 1}, dst, {0, 0, width, 1}, factor, 1, shift, 0, code), ippStsNoErr);
    return dst;
}

void referenceResize(const cv::Mat& src, IppiRect srcROI, cv::Mat& dst, IppiRect dstROI, const Resize& r) {
    std::vector<ReferenceTaps> columns;
    for (int x = dstROI.x; x < dstROI.x + dstROI.width; ++x)
        columns.push_back(referenceTaps(x, r.xFactor, r.xShift, r.code, srcROI.x, srcROI.x + srcROI.width));
    for (int y = dstROI.y; y < dstROI.y + dstROI.height; ++y) {
        const ReferenceTaps row = referenceTaps(y, r.yFactor, r.yShift, r.code, srcROI.y, srcROI.y + srcROI.height);
        for (int x = dstROI.x; x < dstROI.x + dstROI.width; ++x) {
            const ReferenceTaps& column = columns[static_cast<std::size_t>(x - dstROI.x)];
            switch (src.type()) {
                case CV_8UC1: dst.at<uchar>(y, x) = referencePixel<uchar>(src, column, row, 255); break;
                case CV_16UC1: dst.at<ushort>(y, x) = referencePixel<ushort>(src, column, row, 65535); break;
                default: dst.at<float>(y, x) = referencePixel(src, column, row);
            }
        }
    }
}

cv::Mat referenceResized(const cv::Mat& src, cv::Size size, const Resize& r) {
    cv::Mat dst(size, src.type());
    referenceResize(src, {0, 0, src.cols, src.rows}, dst, {0, 0, size.width, size.height}, r);
    return dst;
}
