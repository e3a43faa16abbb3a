#include <algorithm>
#include <cstdint>
#include <cstring>

#include "kestrova/filters/guided_fit.h"
#include "kestrova/filters/tguidedfilter.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"

using namespace kestrova::filters;
using namespace kestrova::frame;
using namespace kestrova::rows;

namespace {

constexpr int kStripRows = 600;
constexpr const char* kNoMemory = "ERROR - TGuidedFilter::stripProc - not enough memory";

void checkPlanes(const cv::Mat& I, const cv::Mat& p, const cv::Mat& q, int r) {
    if (I.type() != CV_32FC1 || p.type() != CV_32FC1 || q.type() != CV_32FC1)
        fail("ERROR - TGuidedFilter::stripProc - type()!=CV_32FC1");
    if (I.size() != p.size()) fail("ERROR - TGuidedFilter::stripProc - I.size()!=p.size()");
    if (!GuidedFit::isRadius(r)) fail("ERROR - TGuidedFilter::stripProc - r<0 || r>32767");
}

/// q = I * a + b
KESTROVA_KERNEL void applyRow(const float* I, const float* a, const float* b, float* __restrict q, int n) noexcept {
    for (int x = 0; x < n; ++x) q[x] = b[x] + a[x] * I[x];
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

// Strips come one after another and each is split among the threads: the same bits as strips side by side, and an even
// split for any number of threads.
void TGuidedFilter::gFc1_stripproc(const cv::Mat& I, const cv::Mat& p, cv::Mat& q, int r, float eps, int blkH) const {
    checkPlanes(I, p, q, r);
    if (q.empty()) fail("ERROR - TGuidedFilter::stripProc - q is not allocated");
    if (q.size() != p.size()) fail("ERROR - TGuidedFilter::stripProc - q.size()!=p.size()");
    if (blkH < 1) fail("ERROR - TGuidedFilter::stripProc - blkH<1");
    const int rows = q.rows, cols = q.cols, m = 4 * r;
    if (rows < m || cols < m) fail("ERROR - TGuidedFilter::stripProc - the planes are smaller than 4r");
    cv::Mat guide, plane;
    orFailWithoutMemory(kNoMemory, [&] {
        guide = overlap(I, q) ? I.clone() : I;
        plane = overlap(p, q) ? p.clone() : p;
    });

    for (int y0 = 0; y0 < rows - m; y0 += std::min(blkH, rows - m - y0)) {
        const int outRows = std::min(blkH, rows - m - y0);
        const cv::Rect source(0, y0, cols, outRows + m);
        cv::Mat strip = q(cv::Rect(m, m + y0, cols - m, outRows));
        gFc1_blkGuide(guide(source), plane(source), strip, r, eps);
    }
    copyFrame(plane, q, m);
}

void TGuidedFilter::gFc1_blkGuide(const cv::Mat& I, const cv::Mat& p, cv::Mat& q, int r, float eps) const {
    checkPlanes(I, p, q, r);
    if (q.empty()) return;
    const int m = 4 * r;
    if (q.cols > p.cols - m || q.rows > p.rows - m)
        fail("ERROR - TGuidedFilter::gFc1_blkGuide - q is larger than the strip holds whole");
    const cv::Rect needed(0, 0, q.cols + m, q.rows + m);
    orFailWithoutMemory(kNoMemory, [&] {
        GuidedFit fit({I(needed)}, p(needed), r, eps, BoxBorder::kInside);
        fit.sweep([&](int y, int x, int n, const float* const* means) noexcept {
            applyRow(I.ptr<float>(y + 2 * r, x + 2 * r), means[0], means[1], q.ptr<float>(y, x), n);
        });
    });
}
