#pragma once

#include <opencv2/core.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "kestrova/primitives/primitives.h"
#include "kestrova/rows/box_columns.h"
#include "kestrova/rows/box_means.h"
#include "tests/support/planes.h"

/// The guided filter step by step on stored planes, in the documented order.
namespace guided_reference {

inline int stepOf(const cv::Mat& plane) { return static_cast<int>(plane.step); }
inline IppiSize sizeOf(const cv::Mat& plane) { return {plane.cols, plane.rows}; }
inline cv::Mat plane(int rows, int cols) { return cv::Mat(rows, cols, CV_32FC1, cv::Scalar(-77)); }

/// A plane with room for a border of r pixels.
inline cv::Mat padded(cv::Size inner, int r) { return plane(inner.height + 2 * r, inner.width + 2 * r); }
inline cv::Mat innerOf(cv::Mat& padded, int r) {
    return padded(cv::Rect(r, r, padded.cols - 2 * r, padded.rows - 2 * r));
}

inline cv::Mat withBorder(const cv::Mat& src, int r) {
    cv::Mat dst = padded(src.size(), r);
    ippiCopyReplicateBorder_32f_C1R(src.ptr<float>(), stepOf(src), sizeOf(src), dst.ptr<float>(), stepOf(dst),
                                    sizeOf(dst), r, r);
    return dst;
}

/// Sums of up to so many pixels are of pairs, and of the one that is left.
constexpr int kFew = 7;

/// value(0) + ... + value(count - 1)
template <class Value>
double sumOfFew(int count, const Value& value) {
    if (count == 1) return value(0);
    double sum = value(0) + value(1);
    for (int i = 2; i + 1 < count; i += 2) sum += value(i) + value(i + 1);
    return sum + value(count - 1);
}

/// The sum of `count` columns from x on, in groups of `count`: of those up to the end of a group from the last one
/// down, and of those of the next group.
inline double sumAcross(const std::vector<double>& columns, int x, int count) {
    if (count <= kFew) return sumOfFew(count, [&](int i) { return columns[static_cast<std::size_t>(x + i)]; });
    const int line = (x / count + 1) * count;
    double rest = 0, beginning = 0;
    for (int i = line - 1; i >= x; --i) rest += columns[static_cast<std::size_t>(i)];
    for (int i = line; i < x + count; ++i) beginning += columns[static_cast<std::size_t>(i)];
    return rest + beginning;
}

/// Sums of the columns under windows of `height` rows, in double, that slide down and begin anew at every block.
template <class RowSums>
void sumDown(const cv::Mat& src, int height, int rows, const RowSums& rowSums) {
    using namespace kestrova::rows;
    FloatColumns columns(src.cols);
    std::vector<double> sums(static_cast<std::size_t>(src.cols));
    for (int y = 0; y < rows; ++y) {
        if (height <= kFew) {
            for (int x = 0; x < src.cols; ++x)
                sums[static_cast<std::size_t>(x)] =
                    sumOfFew(height, [&](int i) { return static_cast<double>(src.at<float>(y + i, x)); });
        } else {
            columns.moveTo([&](int row) { return ValueRow{src.ptr<float>(y + row)}; }, height,
                           y % boxBlockRows(height) == 0);
            sums.assign(columns.sums(), columns.sums() + src.cols);
        }
        rowSums(y, sums);
    }
}

/// Means over the windows that lie inside `src`, from pixel (x, y) on as the window's centre.
inline void box(const cv::Mat& src, int x, int y, int r, cv::Mat dst) {
    if (dst.empty()) return;
    const int side = 2 * r + 1;
    const double reciprocal = 1 / (double(side) * side);
    const cv::Mat covered = src(cv::Rect(x - r, y - r, dst.cols + 2 * r, dst.rows + 2 * r));
    sumDown(covered, side, dst.rows, [&](int i, const std::vector<double>& sums) {
        for (int j = 0; j < dst.cols; ++j)
            dst.at<float>(i, j) = static_cast<float>(sumAcross(sums, j, side) * reciprocal);
    });
}
inline cv::Mat box(const cv::Mat& padded, int r) {
    cv::Mat dst = plane(padded.rows - 2 * r, padded.cols - 2 * r);
    box(padded, r, r, r, dst);
    return dst;
}

inline cv::Mat product(const cv::Mat& a, const cv::Mat& b) {
    cv::Mat dst = plane(a.rows, a.cols);
    ippiMul_32f_C1R(a.ptr<float>(), stepOf(a), b.ptr<float>(), stepOf(b), dst.ptr<float>(), stepOf(dst), sizeOf(dst));
    return dst;
}
inline cv::Mat square(const cv::Mat& a) {
    cv::Mat dst = plane(a.rows, a.cols);
    ippiSqr_32f_C1R(a.ptr<float>(), stepOf(a), dst.ptr<float>(), stepOf(dst), sizeOf(dst));
    return dst;
}
/// plane - taken
inline void subtract(const cv::Mat& taken, cv::Mat& plane) {
    ippiSub_32f_C1IR(taken.ptr<float>(), stepOf(taken), plane.ptr<float>(), stepOf(plane), sizeOf(plane));
}
/// dst = a - b
inline void difference(const cv::Mat& a, const cv::Mat& b, cv::Mat dst) {
    ippiSub_32f_C1R(b.ptr<float>(), stepOf(b), a.ptr<float>(), stepOf(a), dst.ptr<float>(), stepOf(dst), sizeOf(dst));
}
/// dst = a / b
inline void quotient(const cv::Mat& a, const cv::Mat& b, cv::Mat dst) {
    ippiDiv_32f_C1R(b.ptr<float>(), stepOf(b), a.ptr<float>(), stepOf(a), dst.ptr<float>(), stepOf(dst), sizeOf(dst));
}
inline void multiply(const cv::Mat& factor, cv::Mat& plane) {
    ippiMul_32f_C1IR(factor.ptr<float>(), stepOf(factor), plane.ptr<float>(), stepOf(plane), sizeOf(plane));
}
inline void addTo(cv::Mat& plane, const cv::Mat& term) {
    ippiAdd_32f_C1IR(term.ptr<float>(), stepOf(term), plane.ptr<float>(), stepOf(plane), sizeOf(plane));
}
inline void addConstant(cv::Mat& plane, float value) {
    ippiAddC_32f_C1IR(value, plane.ptr<float>(), stepOf(plane), sizeOf(plane));
}
/// Means over the windows that lie inside `src`, from pixel (x, y) on as the window's centre: across, then down.
inline void boxInTwo(const cv::Mat& src, int x, int y, int r, cv::Mat dst) {
    if (dst.empty()) return;
    const int side = 2 * r + 1;
    const double reciprocal = 1 / double(side);
    cv::Mat across = plane(dst.rows + 2 * r, dst.cols);
    for (int i = 0; i < across.rows; ++i) {
        const float* row = src.ptr<float>(y - r + i, x - r);
        const std::vector<double> columns(row, row + dst.cols + 2 * r);
        for (int j = 0; j < across.cols; ++j)
            across.at<float>(i, j) = static_cast<float>(sumAcross(columns, j, side) * reciprocal);
    }
    sumDown(across, side, dst.rows, [&](int i, const std::vector<double>& sums) {
        for (int j = 0; j < dst.cols; ++j)
            dst.at<float>(i, j) = static_cast<float>(sums[static_cast<std::size_t>(j)] * reciprocal);
    });
}

/// The means of a padded plane of coefficients after its border is filled from its inner part.
inline cv::Mat meansOfCoefficients(cv::Mat& padded, int r) {
    cv::Mat inner = innerOf(padded, r);
    ippiCopyReplicateBorder_32f_C1IR(inner.ptr<float>(), stepOf(padded), sizeOf(inner), sizeOf(padded), r, r);
    cv::Mat means = plane(inner.rows, inner.cols);
    boxInTwo(padded, r, r, r, means);
    return means;
}

/// {a, b}
inline std::vector<cv::Mat> estimate1(const cv::Mat& I, const cv::Mat& p, int r, float eps) {
    const cv::Mat Ipad = withBorder(I, r), ppad = withBorder(p, r);
    cv::Mat a0 = box(Ipad, r), b = box(ppad, r);
    cv::Mat cov = box(product(Ipad, ppad), r);
    subtract(product(a0, b), cov);
    cv::Mat var = box(square(Ipad), r);
    subtract(square(a0), var);
    cv::Mat A = padded(p.size(), r), B = padded(p.size(), r);
    addConstant(var, eps);
    quotient(cov, var, innerOf(A, r));
    multiply(innerOf(A, r), a0);
    difference(b, a0, innerOf(B, r));
    return {meansOfCoefficients(A, r), meansOfCoefficients(B, r)};
}

/// {a0, a1, a2, b}; D is 0 where the system cannot be solved.
inline std::vector<cv::Mat> estimate3(const std::vector<cv::Mat>& guide, const cv::Mat& p, int r, float eps) {
    const cv::Mat pPad = withBorder(p, r), mp = box(pPad, r);
    cv::Mat pads[3], means[3], covP[3], V[3][3];
    for (int c = 0; c < 3; ++c) {
        pads[c] = withBorder(guide[c], r);
        means[c] = box(pads[c], r);
        covP[c] = box(product(pads[c], pPad), r);
        subtract(product(means[c], mp), covP[c]);
    }
    for (int i = 0; i < 3; ++i) {
        for (int j = i; j < 3; ++j) {
            V[i][j] = box(i == j ? square(pads[i]) : product(pads[i], pads[j]), r);
            subtract(i == j ? square(means[i]) : product(means[i], means[j]), V[i][j]);
        }
    }
    cv::Mat fitted[4];
    for (cv::Mat& plane : fitted) plane = padded(p.size(), r);
    for (int y = 0; y < p.rows; ++y) {
        for (int x = 0; x < p.cols; ++x) {
            float M[9], D[9] = {}, buffer[64];
            for (int i = 0; i < 3; ++i)
                for (int j = 0; j < 3; ++j) {
                    M[3 * i + j] = V[std::min(i, j)][std::max(i, j)].at<float>(y, x);
                    if (i == j) M[3 * i + j] += eps;
                }
            ippmInvert_m_32f(M, 12, 4, buffer, D, 12, 4, 3);
            float c[3], a[3];
            for (int k = 0; k < 3; ++k) c[k] = covP[k].at<float>(y, x);
            for (int k = 0; k < 3; ++k) {
                a[k] = (D[3 + k] * c[1] + D[k] * c[0]) + D[6 + k] * c[2];
                fitted[k].at<float>(y + r, x + r) = a[k];
            }
            const float m0 = means[0].at<float>(y, x), m1 = means[1].at<float>(y, x), m2 = means[2].at<float>(y, x);
            fitted[3].at<float>(y + r, x + r) = ((mp.at<float>(y, x) - m0 * a[0]) - m1 * a[1]) - m2 * a[2];
        }
    }
    return {meansOfCoefficients(fitted[0], r), meansOfCoefficients(fitted[1], r), meansOfCoefficients(fitted[2], r),
            meansOfCoefficients(fitted[3], r)};
}

/// The filter on one strip; `q` is a header on the destination.
inline void blkGuide(const cv::Mat& I, const cv::Mat& p, cv::Mat q, int r, float eps) {
    const int w = p.cols, h = p.rows;
    cv::Mat meanI = plane(h - 2 * r, w - 2 * r), meanP = meanI.clone(), cov = meanI.clone(), var = meanI.clone();
    box(I, r, r, r, meanI);
    box(p, r, r, r, meanP);
    cv::Mat wide1 = product(I, p), wide2 = plane(h, w);
    box(wide1, r, r, r, cov);
    subtract(product(meanI, meanP), cov);
    wide1 = square(I);
    box(wide1, r, r, r, var);
    subtract(square(meanI), var);
    addConstant(var, eps);
    quotient(cov, var, innerOf(wide1, r));
    multiply(innerOf(wide1, r), meanI);
    difference(meanP, meanI, innerOf(wide2, r));
    if (q.empty()) return;
    cv::Mat meanA = meanI(cv::Rect(0, 0, q.cols, q.rows));
    boxInTwo(wide1, 2 * r, 2 * r, r, meanA);
    boxInTwo(wide2, 2 * r, 2 * r, r, q);
    multiply(I(cv::Rect(2 * r, 2 * r, q.cols, q.rows)), meanA);
    addTo(q, meanA);
}

inline void stripProc(const cv::Mat& I, const cv::Mat& p, cv::Mat& q, int r, float eps, int blkH) {
    const int rows = q.rows, cols = q.cols, m = 4 * r;
    const int strips = (rows - m) / blkH + 1;
    for (int i = 0; i < strips; ++i) {
        const int y0 = blkH * i;
        int h = m + blkH, oh = blkH;
        if (y0 + h > rows) {
            h = rows - y0;
            oh = rows - m - y0;
        }
        if (oh == 0 || cols == m) continue;
        blkGuide(I(cv::Rect(0, y0, cols, h)), p(cv::Rect(0, y0, cols, h)), q(cv::Rect(m, m + y0, cols - m, oh)), r,
                 eps);
    }
    for (int k = 0; k < m; ++k)
        for (int row : {k, rows - 1 - k}) p.row(row).copyTo(q.row(row));
    for (int y = m; y < rows - m; ++y) {
        for (int x = 0; x < m; ++x) {
            q.at<float>(y, x) = p.at<float>(y, x);
            q.at<float>(y, cols - 1 - x) = p.at<float>(y, cols - 1 - x);
        }
    }
}

/// The model spread over the guide's planes: region by region, with doubles for the rounding.
template <class Pixel>
cv::Mat applyLoop(const std::vector<cv::Mat>& guide, const std::vector<cv::Mat>& slopes, const cv::Mat& offset) {
    const int rows = guide[0].rows, cols = guide[0].cols, rowsM = offset.rows, colsM = offset.cols;
    const int sx = static_cast<int>(std::ceil(float(cols) / float(colsM)));
    const int sy = static_cast<int>(std::ceil(float(rows) / float(rowsM)));
    const int rowsA = rows - sy * rowsM > 0 ? sy * rowsM : rows, colsA = cols - sx * colsM > 0 ? sx * colsM : cols;
    const float S = sizeof(Pixel) == 1 ? 255.0f : 65535.0f;
    cv::Mat q(rows, cols, guide[0].type());
    for (int y = 0; y < rows; ++y) {
        const int cellY = y < rowsA ? y / sy : rowsM - 1;
        for (int x = 0; x < cols; ++x) {
            const int cellX = x < colsA ? x / sx : colsM - 1;
            float v = float(guide[0].at<Pixel>(y, x)) * slopes[0].at<float>(cellY, cellX);
            for (std::size_t k = 1; k < guide.size(); ++k)
                v = v + float(guide[k].at<Pixel>(y, x)) * slopes[k].at<float>(cellY, cellX);
            const float bS = offset.at<float>(cellY, cellX) * S;
            v = v + bS;
            const double rounded = std::nearbyint(double(v));
            q.at<Pixel>(y, x) = rounded <= 0 ? Pixel(0) : rounded >= S ? Pixel(S) : static_cast<Pixel>(rounded);
        }
    }
    return q;
}

/// For a result to be written into: where it is not, that shows. In new memory the result of the call before may stand.
inline cv::Mat unwrittenPlane(cv::Size size) { return plane(size.height, size.width); }

/// Noise within 0..1.
inline cv::Mat unitPlane(cv::Size size, std::uint32_t seed) {
    return randomPlane(size.height, size.width, CV_32FC1, 0, 1, seed);
}

/// Noise with a few values so large that sums which they have left show it until they begin anew.
inline cv::Mat tracedPlane(cv::Size size, std::uint32_t seed) {
    cv::Mat plane = randomPlane(size.height, size.width, CV_32FC1, -1, 1, seed);
    plane.setTo(0x1p40, randomPlane(size.height, size.width, CV_8UC1, 0, 60, seed + 7) == 0);
    return plane;
}

}  // namespace guided_reference
