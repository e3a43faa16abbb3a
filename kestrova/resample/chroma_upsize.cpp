#include "kestrova/resample/chroma_upsize.h"

#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/rows/chroma_rows.h"

using namespace kestrova::frame;
using namespace kestrova::rows;

void upSize2XGuidedByYSimple(cv::Mat guide, const cv::Mat& low, cv::Mat& out) {
    checkPlanes(guide, low);
    orFailWithoutMemory("ERROR - upSize2XGuidedByYSimple - not enough memory", [&] {
        ChromaRows::check(guide, {low});
        cv::Mat plane = outputLike(out, guide.size(), CV_16UC1);
        if (!guide.empty()) {
            // The rows above and below are read, of the guide too.
            const cv::Mat readGuide = sourceBeside(plane, guide, StillRead::kAnyRow);
            const cv::Mat readLow = sourceBeside(plane, low, StillRead::kAnyRow);
            forEachStrip(
                Strips(guide.rows, workOf(guide.cols, 2)), [&] { return ChromaRows(readGuide, {readLow}); },
                [&](int first, int end, ChromaRows& rows) noexcept {
                    for (int y = first; y < end; ++y) {
                        ushort* const row = plane.ptr<ushort>(y);
                        rows.compute(y, &row);
                    }
                });
        }
        out = plane;
    });
}
