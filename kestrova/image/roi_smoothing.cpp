#include "kestrova/image/roi_smoothing.h"

#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/primitives/copy.h"
#include "kestrova/primitives/neighbourhood.h"

namespace kestrova::image {

using namespace frame;

namespace {

IppiSize sizeOf(const cv::Mat& plane) { return {plane.cols, plane.rows}; }

// The vendor's forms for one type of pixel.
template <class Pixel>
struct Primitives {
    IppStatus (*copyWithBorder)(const Pixel*, int, IppiSize, Pixel*, int, IppiSize, int, int);
    IppStatus (*refreshBorder)(Pixel*, int, IppiSize, IppiSize, int, int);
    IppStatus (*box)(const Pixel*, int, Pixel*, int, IppiSize, IppiSize, IppiPoint);
    IppStatus (*boxInPlace)(Pixel*, int, IppiSize, IppiSize, IppiPoint);
};

constexpr Primitives<uchar> kOfBytes = {ippiCopyReplicateBorder_8u_C1R, ippiCopyReplicateBorder_8u_C1IR,
                                        ippiFilterBox_8u_C1R, ippiFilterBox_8u_C1IR};
constexpr Primitives<ushort> kOfWords = {ippiCopyReplicateBorder_16u_C1R, ippiCopyReplicateBorder_16u_C1IR,
                                         ippiFilterBox_16u_C1R, ippiFilterBox_16u_C1IR};
constexpr Primitives<float> kOfFloats = {ippiCopyReplicateBorder_32f_C1R, ippiCopyReplicateBorder_32f_C1IR,
                                         ippiFilterBox_32f_C1R, ippiFilterBox_32f_C1IR};

constexpr char kNoMemory[] = "ERROR - TPImage::MatRoi - not enough memory";

void check(IppStatus status) {
    if (status == ippStsNoMemErr) fail(kNoMemory);
    if (status < ippStsNoErr) fail("ERROR - TPImage::MatRoi - status<0");
}

// The largest for which the cells of the mask can be counted in 32 bits.
constexpr int kMaxRadius = 32767;

// Radius and number of box means before a reduction by `scale`: from 5 on the passes go 1, 2, 3 while the radius
// stands, which grows with the region too.
struct Smoothing {
    int radius, passes;
    Smoothing(const cv::Mat& region, int scale) {
        if (scale < 5) {
            radius = 1;
            passes = scale / 4 + 1;
        } else {
            const int third = static_cast<int>((scale + 1LL) / 3);
            radius = std::max(third, std::min(region.rows, region.cols) / 2000 + 1);
            passes = static_cast<int>(scale - 3LL * third + 2);
        }
    }
};

// Replaces each element of lines of `n` by the sum over the `radius` elements on either side and itself, the line being
// continued by its end elements. The cost is that of the line for every radius, and no sum is a difference: a value
// that is not finite stays within its windows.
template <class Sum>
class LineSums {
public:
    LineSums(int n, int radius) : m_n(n), m_radius(radius) {
        if (radius >= n) return;
        m_fromLeft.resize(static_cast<std::size_t>(n) + 2 * static_cast<std::size_t>(radius));
        m_fromRight.resize(m_fromLeft.size());
    }

    void replace(Sum* line) {
        if (m_radius < m_n)
            sumInBlocks(line);
        else
            weighEnds(line);
    }

private:
    // Every window covers the whole line; what lies beyond are the ends alone.
    void weighEnds(Sum* line) const {
        const Sum first = line[0], last = line[m_n - 1];
        Sum all = 0;
        for (int i = 0; i < m_n; ++i) all += line[i];
        for (int i = 0; i < m_n; ++i)
            line[i] = all + static_cast<Sum>(m_radius - i) * first + static_cast<Sum>(m_radius - (m_n - 1 - i)) * last;
    }

    // In blocks as wide as the window, a window is the end of one block and the beginning of the next (M. van Herk, "A
    // Fast Algorithm for Local Minimum and Maximum Filters on Rectangular and Octagonal Kernels", 1992).
    void sumInBlocks(Sum* line) {
        const int width = 2 * m_radius + 1, end = m_n + 2 * m_radius;
        const auto at = [&](int i) { return line[std::clamp(i - m_radius, 0, m_n - 1)]; };
        for (int i = 0; i < end; ++i) m_fromLeft[i] = i % width == 0 ? at(i) : m_fromLeft[i - 1] + at(i);
        for (int i = end - 1; i >= 0; --i)
            m_fromRight[i] = i == end - 1 || i % width == width - 1 ? at(i) : m_fromRight[i + 1] + at(i);
        for (int i = 0; i < m_n; ++i)
            line[i] = i % width == 0 ? m_fromLeft[i + width - 1] : m_fromRight[i] + m_fromLeft[i + width - 1];
    }

    int m_n, m_radius;
    std::vector<Sum> m_fromLeft, m_fromRight;
};

// The box mean of a plane continued by its edge pixels, for a radius larger than a side: a plane with borders of that
// radius would be out of proportion. Rounded as the vendor's forms round.
template <class Pixel>
cv::Mat wideBoxMean(const cv::Mat& in, int radius) {
    using Sum = std::conditional_t<std::is_floating_point_v<Pixel>, double, std::uint64_t>;
    const std::size_t cols = static_cast<std::size_t>(in.cols);
    const Sum area = static_cast<Sum>(2 * radius + 1) * static_cast<Sum>(2 * radius + 1);
    const auto mean = [area](Sum sum) {
        if constexpr (std::is_floating_point_v<Pixel>)
            return static_cast<Pixel>(sum * (1 / area));
        else
            return static_cast<Pixel>((sum + area / 2) / area);
    };
    cv::Mat out(in.size(), in.type());
    std::vector<Sum> sums(cols * static_cast<std::size_t>(in.rows)), column(static_cast<std::size_t>(in.rows));
    LineSums<Sum> down(in.rows, radius), along(in.cols, radius);
    for (int x = 0; x < in.cols; ++x) {
        for (int y = 0; y < in.rows; ++y) column[y] = static_cast<Sum>(in.ptr<Pixel>(y)[x]);
        down.replace(column.data());
        for (int y = 0; y < in.rows; ++y) sums[y * cols + x] = column[y];
    }
    for (int y = 0; y < in.rows; ++y) {
        Sum* const row = &sums[y * cols];
        along.replace(row);
        std::transform(row, row + cols, out.ptr<Pixel>(y), mean);
    }
    return out;
}

// At scale 1 a plane of the region's size, else the centre of a plane with borders.
template <class Pixel>
cv::Mat smoothedBy(const Primitives<Pixel>& of, const cv::Mat& region, int scale) {
    const Smoothing s(region, scale);
    if (s.radius > kMaxRadius) fail("ERROR - TPImage::MatRoi - scale is too large to smooth");
    if (s.radius > std::min(region.rows, region.cols)) {
        cv::Mat mean = region;
        orFailWithoutMemory(kNoMemory, [&] {
            for (int pass = 0; pass < s.passes; ++pass) mean = wideBoxMean<Pixel>(mean, s.radius);
        });
        return mean;
    }
    const int side = 2 * s.radius + 1;
    const IppiSize mask = {side, side};
    const IppiPoint anchor = {s.radius, s.radius};
    cv::Mat work(region.rows + 2 * s.radius, region.cols + 2 * s.radius, region.type());
    const int step = stepOf(work);
    check(of.copyWithBorder(region.ptr<Pixel>(), stepOf(region), sizeOf(region), work.ptr<Pixel>(), step, sizeOf(work),
                            s.radius, s.radius));
    cv::Mat centre = work(cv::Rect(s.radius, s.radius, region.cols, region.rows));
    if (scale == 1) {
        cv::Mat out(region.size(), region.type());
        check(of.box(centre.ptr<Pixel>(), step, out.ptr<Pixel>(), stepOf(out), sizeOf(out), mask, anchor));
        return out;
    }
    for (int pass = 0; pass < s.passes; ++pass) {
        if (pass > 0)
            check(of.refreshBorder(centre.ptr<Pixel>(), step, sizeOf(centre), sizeOf(work), s.radius, s.radius));
        check(of.boxInPlace(centre.ptr<Pixel>(), step, sizeOf(centre), mask, anchor));
    }
    return centre;
}

}  // namespace

cv::Mat smoothed(const cv::Mat& region, int scale) {
    switch (region.type()) {
        case CV_8UC1: return smoothedBy(kOfBytes, region, scale);
        case CV_16UC1: return smoothedBy(kOfWords, region, scale);
        case CV_32FC1: return smoothedBy(kOfFloats, region, scale);
        default: fail("ERROR TPImage::MatRoi - input type");
    }
}

}  // namespace kestrova::image
