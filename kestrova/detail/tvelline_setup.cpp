#include <algorithm>
#include <vector>

#include "kestrova/detail/block_processor.h"
#include "kestrova/detail/domain_transform.h"
#include "kestrova/detail/tvelline.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/frame/sole_header.h"
#include "kestrova/resample/chroma_upsize.h"

using namespace kestrova::detail;
using namespace kestrova::frame;

namespace {

constexpr int kBlockSide = 1024;
constexpr int kBlockOverlap = 32;
constexpr float kChromaSigmaR = 4259.71f;

int maxPlainLevel(int longerSide) {
    if (longerSide > 6600) return 4;
    if (longerSide > 4800) return 3;
    if (longerSide > 3100) return 2;
    return 1;
}

// The mean side of the picture over 128.
float chromaSigmaS(const cv::Mat& picture) {
    const double meanSide = (picture.rows + picture.cols) * 0.5;
    return std::clamp(static_cast<float>(meanSide * 0.0078125), 4.0f, 32.0f);
}

// Into the pixels of `chroma` where nobody else sees them: no copy of the engine and, as it is held here by value, not
// `half`.
void enlargeChroma(const cv::Mat& guide, cv::Mat half, cv::Mat& chroma) {
    cv::Mat full = isSoleHeader(chroma) ? chroma : cv::Mat();
    upSize2XGuidedByYSimple(guide, half, full);
    chroma = full;
}

void smoothChroma(cv::Mat& dr, cv::Mat& db, float sigmaS) {
    const std::vector<cv::Mat> planes = {dr, db};
    BlockProcessor processor;
    processor.initialize(planes, planes, kBlockSide, kBlockSide, true, kBlockOverlap, 0, 0);
    DomainTransformFilter filter(sigmaS, kChromaSigmaR);
    while (const std::vector<PlacedBlock>* stripe = processor.nextStripe()) {
        filter.filterPairs(*stripe);
        processor.copyStripe();
    }
}

}  // namespace

bool TVelline::setup(const cv::Mat& Y, const cv::Mat& DS, const cv::Mat& DM, const cv::Mat& DL, const cv::Mat& halfDr,
                     cv::Mat halfDb, TProgress* progress) {
    checkPlanes(Y, DS, DM, DL, halfDr, halfDb);
    m_Y = Y;
    m_DS = DS;
    m_DM = DM;
    m_DL = DL;
    m_maxPlainLevel = maxPlainLevel(std::max(m_Y.rows, m_Y.cols));

    static constexpr char kNoMemory[] = "ERROR - TVelline::setup - not enough memory";
    orFailWithoutMemory(kNoMemory, [&] { enlargeChroma(m_Y, halfDr, m_Dr); });
    if (progress && !progress->prog(20, 100)) return false;
    orFailWithoutMemory(kNoMemory, [&] { enlargeChroma(m_Y, halfDb, m_Db); });
    if (progress && !progress->prog(40, 100)) return false;
    orFailWithoutMemory(kNoMemory, [&] { smoothChroma(m_Dr, m_Db, chromaSigmaS(m_Y)); });

    m_bChangedS = m_bChangedM = m_bChangedL = m_bChangedY = m_bRoiChanged = true;
    return !progress || progress->prog(100, 100);
}
