#include "kestrova/resample/chroma_upsize.h"

#include <cstring>

#include "kestrova/frame/parallel.h"
#include "kestrova/resample/chroma_rows.h"

void upSize2XGuidedByYSimple(cv::Mat guide, const cv::Mat& low, cv::Mat& out) {
    const int strips = stripCount(guide.rows, guide.cols);
    std::vector<ChromaRows> chroma = ChromaRows::forStrips(strips, guide, {low});
    out.create(guide.size(), CV_16UC1);
    if (guide.empty()) return;
    parallelStrips(strips, guide.rows, [&](int first, int end, int strip) noexcept {
        ChromaRows& rows = chroma[strip];
        for (int y = first; y < end; ++y) {
            rows.compute(y);
            std::memcpy(out.ptr(y), rows.row(0), guide.cols * sizeof(ushort));
        }
    });
}
