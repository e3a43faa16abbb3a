#include "kestrova/rows/box_filter.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "kestrova/frame/parallel.h"
#include "kestrova/rows/box_across.h"
#include "kestrova/rows/box_columns.h"
#include "kestrova/rows/box_means.h"

namespace kestrova::rows {

using namespace frame;

namespace {

/// What a strip works with.
template <class Sum, class Rows>
struct StripWork {
    using Columns = std::conditional_t<std::is_floating_point_v<Sum>, FloatColumns, IntegerColumns<Sum>>;

    Rows rows;
    Columns columns;
    Scratch<Sum> scratch;

    StripWork(const Window& window, int first, int end)
        : rows(window, first, end),
          columns(window.columns),
          scratch(2, static_cast<std::size_t>(window.columns) + kWideSlack) {}
};

template <class Sum, class Rows, class Source, class Element, class Mean>
void filter(const Source& source, Plane<Element> dst, IppiSize size, const Window& window, Mean mean) {
    constexpr bool kFloats = std::is_floating_point_v<Element>;
    const int tile = std::max(kTileColumns, window.width), blockRows = kFloats ? boxBlockRows(window.height) : 1;
    const Strips strips = Strips::onePerThread(size.height, workOf(size.width, 2), blockRows);
    forEachStrip(
        strips,
        [&](int s) {
            StripWork<Sum, Rows> work(window, strips.first(s), strips.end(s));
            work.rows.begin(source);
            return work;
        },
        [&](int first, int end, StripWork<Sum, Rows>& work) noexcept {
            for (int y = first; y < end; ++y) {
                const bool anew = y == first || (kFloats && y % blockRows == 0);
                const auto rowAt = [&](int i) {
                    const Element* row = work.rows.row(y - window.above + i);
                    if constexpr (kFloats)
                        return ValueRow{row};
                    else
                        return row;
                };
                work.columns.moveTo(rowAt, window.height, anew);
                work.rows.keep(y);
                const Sum* const sums = work.columns.sums();
                Sum *const scratch = work.scratch.row(0), *const otherScratch = work.scratch.row(1);
                for (int x = 0; x < size.width; x += tile) {
                    const int n = std::min(tile, size.width - x);
                    if constexpr (kFloats)
                        sumAcrossFrom(x, sums + x, window.width, scratch, otherScratch, dst.row(y) + x, n, mean);
                    else
                        sumAcross(sums + x, window.width, scratch, otherScratch, dst.row(y) + x, n, mean);
                }
            }
        });
}

/// With the sums that the element type and the area need.
template <class Rows, class Element, class Source>
void filter(const Source& source, Plane<Element> dst, IppiSize size, const Window& window) {
    const std::uint64_t area = boxArea(window.width, window.height);
    if constexpr (std::is_floating_point_v<Element>) {
        filter<double, Rows>(source, dst, size, window, MeanOfFloats(area));
    } else {
        const std::uint64_t largestSum = area * std::numeric_limits<Element>::max() + area / 2;
        const MeanOfLargeWords<Element> mean(area);
        if (largestSum >> 31 == 0)
            filter<std::uint32_t, Rows>(source, dst, size, window, MeanOfWords<Element>(area));
        else if (largestSum >> 32 == 0)
            filter<std::uint32_t, Rows>(source, dst, size, window, mean);
        else
            filter<std::uint64_t, Rows>(source, dst, size, window, mean);
    }
}

}  // namespace

template <class Element>
void filterBox(Plane<const Element> src, Plane<Element> dst, IppiSize size, const Window& window) {
    filter<SourceRows<Element>>(covered(src, window), dst, size, window);
}

template <class Element>
void filterBoxInPlace(Plane<Element> srcDst, IppiSize size, const Window& window) {
    filter<OriginalRows<Element>>(covered<Element>({srcDst.elements, srcDst.step}, window), srcDst, size, window);
}

template void filterBox(Plane<const uchar>, Plane<uchar>, IppiSize, const Window&);
template void filterBox(Plane<const ushort>, Plane<ushort>, IppiSize, const Window&);
template void filterBox(Plane<const float>, Plane<float>, IppiSize, const Window&);
template void filterBoxInPlace(Plane<uchar>, IppiSize, const Window&);
template void filterBoxInPlace(Plane<ushort>, IppiSize, const Window&);
template void filterBoxInPlace(Plane<float>, IppiSize, const Window&);

}  // namespace kestrova::rows
