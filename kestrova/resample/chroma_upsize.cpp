#include "kestrova/resample/chroma_upsize.h"

#include "kestrova/frame/parallel.h"
#include "kestrova/rows/chroma_rows.h"

using namespace kestrova::frame;
using namespace kestrova::rows;

void upSize2XGuidedByYSimple(cv::Mat guide, const cv::Mat& low, cv::Mat& out) {
    const int strips = stripCount(guide.rows, guide.cols);
    std::vector<ChromaRows> chroma = ChromaRows::forStrips(strips, guide, {low});
    out.create(guide.size(), CV_16UC1);
    if (guide.empty()) return;
    parallelStrips(strips, guide.rows, [&](int first, int end, int strip) noexcept {
        for (int y = first; y < end; ++y) {
            ushort* const row = out.ptr<ushort>(y);
            chroma[strip].compute(y, &row);
        }
    });
}
