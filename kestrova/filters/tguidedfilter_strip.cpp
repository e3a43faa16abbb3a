#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

#include "kestrova/filters/guided_fit.h"
#include "kestrova/filters/guided_narrow.h"
#include "kestrova/filters/tguidedfilter.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"

using namespace kestrova::filters;
using namespace kestrova::frame;
using namespace kestrova::rows;

namespace {

constexpr int kStripRows = 600;
constexpr const char* kNoMemory = "ERROR - TGuidedFilter::stripProc - not enough memory";

void checkStrip(const cv::Mat& I, const cv::Mat& p, const cv::Mat& q, int r) {
    if (I.type() != CV_32FC1 || p.type() != CV_32FC1 || q.type() != CV_32FC1)
        fail("ERROR - TGuidedFilter::stripProc - type()!=CV_32FC1");
    for (const cv::Mat* plane : {&I, &p, &q}) stepOf(*plane);
    if (I.size() != p.size()) fail("ERROR - TGuidedFilter::stripProc - I.size()!=p.size()");
    if (!GuidedFit::isRadius(r)) fail("ERROR - TGuidedFilter::stripProc - r<0 || r>32767");
}

/// q = I * a + b
KESTROVA_KERNEL void applyRow(const float* I, const float* a, const float* b, float* __restrict q, int n) noexcept {
    for (int x = 0; x < n; ++x) q[x] = b[x] + a[x] * I[x];
}

/// The filter without borders, in strips of `blkH` rows of output: q(y, x) is the result at (y + 2r, x + 2r) of `I` and
/// `p`, which are 4r larger than `q` and do not overlap it. Sums begin anew at the first row of a strip and of each
/// block in it; any number of threads takes whole blocks and gives the bits of strips that each have a thread.
template <class Fit>
void filterStrips(const cv::Mat& I, const cv::Mat& p, cv::Mat q, int r, float eps, int blkH) {
    if (q.empty()) return;
    const int blockRows = GuidedFit::blockRows(r), stripRows = std::min(blkH, q.rows);
    const auto blocksOf = [=](int rows) { return rows / blockRows + (rows % blockRows > 0); };
    const int blocksPerStrip = blocksOf(stripRows);
    const int blocks = q.rows / stripRows * blocksPerStrip + blocksOf(q.rows % stripRows);

    struct Work {
        Fit fit;
        Scratch<float> means;  ///< eight rows of a, eight of b
    };
    const int fitting = GuidedFit::panelColumns(q.cols, r, 2), panelCols = fitting > 0 ? fitting : q.cols;
    const auto makeWork = [&] {
        return Work{Fit({I}, p, r, eps, BoxBorder::kInside, panelCols),
                    Scratch<float>(2 * kRowsAtOnce, static_cast<std::size_t>(panelCols))};
    };
    const auto filterBlocks = [&](int firstBlock, int endBlock, Work& work) noexcept {
        CoefficientRows means;
        for (std::size_t i = 0; i < kRowsAtOnce; ++i) {
            means.rows[0][i] = work.means.row(i);
            means.rows[1][i] = work.means.row(kRowsAtOnce + i);
        }
        for (int x = 0; x < q.cols; x += panelCols) {
            const int n = std::min(panelCols, q.cols - x);
            work.fit.span(x, x + n);
            for (int block = firstBlock; block < endBlock; ++block) {
                const int top = block / blocksPerStrip * stripRows, inStrip = block % blocksPerStrip * blockRows;
                const int first = top + inStrip;
                const int end = first + std::min({blockRows, stripRows - inStrip, q.rows - first});
                if (block == firstBlock || first == top) work.fit.begin(first, top);
                for (int y = first; y < end;) {
                    const int rows = work.fit.rowsTogether(y, end);
                    work.fit.compute(y, rows, means);
                    for (int i = 0; i < rows; ++i, ++y)
                        applyRow(I.ptr<float>(y + 2 * r, x + 2 * r), means.rows[0][i], means.rows[1][i],
                                 q.ptr<float>(y, x), n);
                }
            }
        }
    };
    const long long perBlock = static_cast<long long>(q.cols) * std::min(blockRows, stripRows);
    const int work = workOf(static_cast<int>(std::min<long long>(perBlock, INT_MAX)), 8);
    forEachStrip(Strips::onePerThread(blocks, work), makeWork, filterBlocks);
}

void filterStrips(const cv::Mat& I, const cv::Mat& p, const cv::Mat& q, int r, float eps, int blkH) {
    if (NarrowGuidedFit::isRadius(r))
        filterStrips<NarrowGuidedFit>(I, p, q, r, eps, blkH);
    else
        filterStrips<GuidedFit>(I, p, q, r, eps, blkH);
}

/// Copies the outermost `margin` pixels of every side.
void copyFrame(const cv::Mat& from, cv::Mat& to, int margin) {
    const std::size_t row = sizeof(float) * static_cast<std::size_t>(to.cols);
    const std::size_t side = sizeof(float) * static_cast<std::size_t>(margin);
    for (int y = 0; y < to.rows; ++y) {
        const bool whole = y < margin || y >= to.rows - margin;
        std::memcpy(to.ptr<float>(y), from.ptr<float>(y), whole ? row : side);
        if (!whole) std::memcpy(to.ptr<float>(y) + to.cols - margin, from.ptr<float>(y) + to.cols - margin, side);
    }
}

}  // namespace

int TGuidedFilter::checkBlkSz(int w, int h) {
    const auto pixels = static_cast<std::int32_t>(static_cast<std::int64_t>(w) * h);
    return pixels < 2250000 || h < kStripRows ? h : kStripRows;
}

void TGuidedFilter::stripProc(const cv::Mat& I, const cv::Mat& p, cv::Mat& q, int r, float eps) const {
    gFc1_stripproc(I, p, q, r, eps, checkBlkSz(I.cols, I.rows));
}

void TGuidedFilter::gFc1_stripproc(const cv::Mat& I, const cv::Mat& p, cv::Mat& q, int r, float eps, int blkH) const {
    checkStrip(I, p, q, r);
    if (q.empty()) fail("ERROR - TGuidedFilter::stripProc - q is not allocated");
    if (q.size() != p.size()) fail("ERROR - TGuidedFilter::stripProc - q.size()!=p.size()");
    if (blkH < 1) fail("ERROR - TGuidedFilter::stripProc - blkH<1");
    const int m = 4 * r;
    if (q.rows < m || q.cols < m) fail("ERROR - TGuidedFilter::stripProc - the planes are smaller than 4r");
    orFailWithoutMemory(kNoMemory, [&] {
        const cv::Mat guide = sourceBeside(q, I, StillRead::kAnyRow), plane = sourceBeside(q, p, StillRead::kAnyRow);
        filterStrips(guide, plane, q(cv::Rect(m, m, q.cols - m, q.rows - m)), r, eps, blkH);
        copyFrame(plane, q, m);
    });
}

void TGuidedFilter::gFc1_blkGuide(const cv::Mat& I, const cv::Mat& p, cv::Mat& q, int r, float eps) const {
    checkStrip(I, p, q, r);
    if (q.empty()) return;
    const int m = 4 * r;
    if (q.cols > p.cols - m || q.rows > p.rows - m)
        fail("ERROR - TGuidedFilter::gFc1_blkGuide - q is larger than the strip holds whole");
    const cv::Rect needed(0, 0, q.cols + m, q.rows + m);
    orFailWithoutMemory(kNoMemory, [&] { filterStrips(I(needed), p(needed), q, r, eps, q.rows); });
}
