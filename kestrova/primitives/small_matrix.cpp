#include "kestrova/primitives/small_matrix.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <new>

#include "kestrova/rows/invert3.h"

using namespace kestrova::rows;

namespace {

/// A matrix of floats, strides in bytes.
template <class Byte>
struct Strided {
    Byte* first;
    std::ptrdiff_t rowStride, columnStride;

    Byte* element(int row, int column) const { return first + row * rowStride + column * columnStride; }
};

struct Source : Strided<const char> {
    double at(int row, int column) const {
        return static_cast<double>(*reinterpret_cast<const float*>(element(row, column)));
    }
};

struct Destination : Strided<char> {
    void set(int row, int column, double value) const {
        *reinterpret_cast<float*>(element(row, column)) = static_cast<float>(value);
    }
};

IppStatus invert1(Source src, Destination dst) {
    const double element = src.at(0, 0);
    if (isNoise(element, std::abs(element), 1)) return ippStsSingularErr;
    dst.set(0, 0, 1 / element);
    return ippStsNoErr;
}

IppStatus invert3(Source src, Destination dst) {
    const Inverse3 inverse(src.at(0, 0), src.at(0, 1), src.at(0, 2), src.at(1, 0), src.at(1, 1), src.at(1, 2),
                           src.at(2, 0), src.at(2, 1), src.at(2, 2));
    if (inverse.singular) return ippStsSingularErr;
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 3; ++column) dst.set(row, column, inverse.element(row, column));
    return ippStsNoErr;
}

/// A running sum, and the sum of the sizes of what went into it.
struct Tracked {
    double value, magnitude;
};

/// Elimination by Gauss and Jordan, with partial pivoting, beside the unit matrix.
IppStatus invertByElimination(Source src, Destination dst, int order) {
    const std::size_t width = 2 * static_cast<std::size_t>(order);
    const std::unique_ptr<Tracked[]> rows(new (std::nothrow) Tracked[width * static_cast<std::size_t>(order)]);
    if (!rows) return ippStsNoMemErr;
    const auto at = [&](int row, int column) -> Tracked& { return rows[row * width + column]; };
    for (int r = 0; r < order; ++r) {
        for (int c = 0; c < order; ++c) {
            at(r, c) = {src.at(r, c), std::abs(src.at(r, c))};
            at(r, order + c) = {r == c ? 1.0 : 0.0, 0.0};
        }
    }
    for (int k = 0; k < order; ++k) {
        int pivotRow = k;
        for (int r = k + 1; r < order; ++r)
            if (std::abs(at(r, k).value) > std::abs(at(pivotRow, k).value)) pivotRow = r;
        const Tracked pivot = at(pivotRow, k);
        if (isNoise(pivot.value, pivot.magnitude, order)) return ippStsSingularErr;
        if (pivotRow != k) std::swap_ranges(&at(k, 0), &at(k, 0) + width, &at(pivotRow, 0));
        for (int c = 0; c < 2 * order; ++c) at(k, c).value /= pivot.value;
        for (int r = 0; r < order; ++r) {
            if (r == k) continue;
            const double factor = at(r, k).value;
            for (int c = 0; c < 2 * order; ++c) {
                const double term = factor * at(k, c).value;
                at(r, c).value -= term;
                at(r, c).magnitude += std::abs(term);
            }
        }
    }
    for (int r = 0; r < order; ++r)
        for (int c = 0; c < order; ++c) dst.set(r, c, at(r, order + c).value);
    return ippStsNoErr;
}

}  // namespace

IppStatus ippmInvert_m_32f(const float* src, int srcStride1, int srcStride2, float* /*buffer*/, float* dst,
                           int dstStride1, int dstStride2, int order) {
    if (!src || !dst) return ippStsNullPtrErr;
    if (order < 1) return ippStsSizeErr;
    for (int stride : {srcStride1, srcStride2, dstStride1, dstStride2})
        if (stride <= 0 || stride % static_cast<int>(sizeof(float)) != 0) return ippStsStepErr;
    const Source from{{reinterpret_cast<const char*>(src), srcStride1, srcStride2}};
    const Destination to{{reinterpret_cast<char*>(dst), dstStride1, dstStride2}};
    switch (order) {
        case 1: return invert1(from, to);
        case 3: return invert3(from, to);
        default: return invertByElimination(from, to, order);
    }
}
