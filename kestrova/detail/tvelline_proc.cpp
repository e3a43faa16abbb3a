#include <opencv2/core.hpp>

#include <algorithm>
#include <cstring>
#include <iostream>
#include <optional>

#include "kestrova/curves/detail_curves.h"
#include "kestrova/detail/tlightadjlutvl.h"
#include "kestrova/detail/tvelline.h"
#include "kestrova/detail/tvelline_rows.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/kestrova.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/image/roi.h"
#include "kestrova/image/tpimage.h"
#include "kestrova/primitives/tables.h"

namespace {

struct Scale {
    cv::Mat TVelline::*full;
    cv::Mat TVelline::*cache;
    float kMin, kMax;
    int threshold;
    float blurScale;
};

constexpr int kScales = 3;
constexpr Scale kScale[kScales] = {
    {&TVelline::m_DS, &TVelline::m_rDS, 0.0f, 5.0f, 9830, 0.35f},
    {&TVelline::m_DM, &TVelline::m_rDM, 0.0f, 4.0f, 8191, 0.35f},
    {&TVelline::m_DL, &TVelline::m_rDL, 0.0f, 3.5f, 7372, 0.35f},
};

bool sameSize(const cv::Mat& a, const cv::Mat& b) { return a.rows == b.rows && a.cols == b.cols; }

bool atLeastAsLarge(const cv::Mat& plane, const cv::Mat& other) {
    return plane.rows >= other.rows && plane.cols >= other.cols;
}

ChromaMix chromaMix(const cv::Mat& dr, const cv::Mat& db, float a, float b, float c) {
    a *= 2.5f;
    b *= 2.5f;
    c *= 2.5f;
    if (dr.type() == CV_8UC1 && db.type() == CV_8UC1)
        return {(a - b) * 256.0f, (c - b) * 256.0f, (256.0f * b - 128.0f * a - 128.0f * c) * 256.0f};
    if (dr.type() == CV_16UC1 && db.type() == CV_16UC1) return {a - b, c - b, (2.0f * b - a - c) * 32768.0f};
    failTraced("TVelline::modYWithC", 374, "bad dr type");
}

// Row r of chroma, of either type, into a row of luminance.
void mixChromaRow(const cv::Mat& dr, const cv::Mat& db, const ChromaMix& mix, int r, ushort* y, int n) noexcept {
    if (dr.type() == CV_8UC1)
        mixChromaRow(dr.ptr<uchar>(r), db.ptr<uchar>(r), mix, y, n);
    else
        mixChromaRow(dr.ptr<ushort>(r), db.ptr<ushort>(r), mix, y, n);
}

void copyRow(const cv::Mat& from, cv::Mat& to, int r) noexcept {
    if (from.data != to.data) std::memcpy(to.ptr(r), from.ptr(r), static_cast<std::size_t>(from.cols) * sizeof(ushort));
}

// A plane of the picture for the rectangle: at step 1 a header on the picture's own pixels, else new pixels.
struct Sampled {
    cv::Mat plane;
    bool bNew;
};

Sampled sample(const TVelline& engine, const cv::Mat& full, bool bSmooth) {
    const cv::Rect& roi = engine.m_roi;
    if (engine.m_level == 1 && !bSmooth) return {regionOf(full, roi.x, roi.y, roi.width, roi.height, 1), false};
    return {TPImage::MatRoi(full, roi.x, roi.y, roi.width, roi.height, engine.m_level, false, bSmooth), true};
}

// The plane that the result made of `sampled` goes into: the same if its pixels are new, those of the cache that it
// replaces if nobody else sees them, else others.
cv::Mat resultPlane(const Sampled& sampled, const cv::Mat& cache) {
    if (sampled.bNew) return sampled.plane;
    const bool bFits = sameSize(cache, sampled.plane) && cache.type() == CV_16UC1;
    const bool bUnseen = cache.u != nullptr && cache.u->refcount == 1;
    return bFits && bUnseen ? cache : cv::Mat(sampled.plane.size(), CV_16UC1);
}

// The rectangle's luminance under mix and light curve.
class Luminance {
public:
    Luminance(const TVelline& engine, bool bMixed) : m_bMixed(bMixed) {
        const Sampled y = sample(engine, engine.m_Y, false);
        if (m_bMixed) {
            m_dr = sample(engine, engine.m_Dr, false).plane;
            m_db = sample(engine, engine.m_Db, false).plane;
            m_mix = chromaMix(m_dr, m_db, engine.m_mix[0], engine.m_mix[1], engine.m_mix[2]);
        }
        const float* light = engine.m_light;
        m_light.setupCurve(light[0], light[1], light[2], light[3], light[4], light[5]);
        m_y = y.plane;
        if (m_y.type() != CV_16UC1) m_light.proc(m_y, true);  // refuses it
        m_lightTable = m_light.table();
        m_result = resultPlane(y, engine.m_rY);
    }

    const cv::Mat& result() const { return m_result; }

    void renderRow(int r) noexcept {
        ushort* y = m_result.ptr<ushort>(r);
        copyRow(m_y, m_result, r);
        if (m_bMixed) mixChromaRow(m_dr, m_db, m_mix, r, y, m_y.cols);
        const int step = m_y.cols * static_cast<int>(sizeof(ushort));
        ippiLUTPalette_16u_C1R(y, step, y, step, {m_y.cols, 1}, m_lightTable, 16);
    }

private:
    cv::Mat m_y, m_dr, m_db, m_result;
    bool m_bMixed;
    ChromaMix m_mix;
    TLightAdjLUTvl m_light;
    const ushort* m_lightTable;
};

// One scale of the rectangle after its curves.
class Detail {
public:
    Detail(const TVelline& engine, const Scale& scale, const cv::Mat* extra) {
        Sampled detail = sample(engine, engine.*scale.full, engine.m_level > engine.m_maxPlainLevel);
        if (detail.plane.type() != CV_16UC1) fail("ERROR - TVelline::proc - detail.type()!=CV_16UC1");
        if (extra && !extra->empty() && sameSize(*extra, detail.plane)) {
            if (extra->channels() != 1) fail("ERROR - TVelline::proc - rYE16U.channels()!=1");
            if (extra->type() == CV_16UC1) {
                m_extra = *extra;
            } else {
                cv::Mat sum;
                cv::addWeighted(detail.plane, 1.0, *extra, 1.0, -32768.0, sum, CV_16U);
                detail = {sum, true};
            }
        }
        m_detail = detail.plane;
        m_result = resultPlane(detail, engine.*scale.cache);
    }

    const cv::Mat& result() const { return m_result; }
    void setCurves(const ushort* shadows, const ushort* midtones, const ushort* highlights) {
        m_curves.emplace(shadows, midtones, highlights);
    }

    void renderRow(int r, const ushort* y) noexcept {
        ushort* d = m_result.ptr<ushort>(r);
        copyRow(m_detail, m_result, r);
        if (!m_extra.empty()) addDetailRow(m_extra.ptr<ushort>(r), d, m_detail.cols);
        if (m_curves) curveZonesRow(y, m_curves->entries(), d, m_detail.cols);
    }

private:
    cv::Mat m_detail, m_extra, m_result;
    std::optional<ZoneCurves> m_curves;
};

// The finished curves of each scale that has something to do, all tables built side by side.
void setUpCurves(const TVelline& engine, const bool bNeeded[kScales], std::optional<Detail> details[kScales]) {
    std::vector<DetailCurve> list;
    for (int s = 0; s < kScales; ++s) {
        if (!bNeeded[s]) continue;
        const float* k = engine.m_k + 3 * s;
        const float* t = engine.m_t + 3 * s;
        const Scale& c = kScale[s];
        list.push_back({k[1], t[1], k[0], t[0], c.kMin, c.kMax, c.threshold, c.blurScale});
        list.push_back({k[2], t[2], k[0], t[0], c.kMin, c.kMax, c.threshold, c.blurScale});
        list.push_back({k[0], t[0], 0.0f, 0.0f, c.kMin, c.kMax, c.threshold, c.blurScale});
    }
    const DetailCurves curves(list);
    for (int s = 0, i = 0; s < kScales; ++s) {
        if (!bNeeded[s]) continue;
        details[s]->setCurves(curves[i], curves[i + 1], curves[i + 2]);
        i += 3;
    }
}

void requirePlanes(const TVelline& engine, bool bChroma, const bool bStale[kScales]) {
    if (engine.m_Y.empty()) fail("ERROR - TVelline::proc - m_Y.empty()");
    if (bChroma && (engine.m_Dr.size != engine.m_Y.size || engine.m_Db.size != engine.m_Y.size))
        fail("ERROR - TVelline::proc - m_Dr.size!=m_Y.size || m_Db.size!=m_Y.size");
    for (int s = 0; s < kScales; ++s)
        if (bStale[s] && (engine.*kScale[s].full).size != engine.m_Y.size)
            fail("ERROR - TVelline::proc - a detail plane's size!=m_Y.size");
}

}  // namespace

bool TVelline::proc(cv::Rect roi, int level, cv::Mat rYE16U) {
    const bool bLuminance = m_bRoiChanged || m_bChangedY || roi != m_roi || level != m_level;
    const bool bMixed = neq(m_mix[0], 0.0f) || neq(m_mix[1], 0.0f) || neq(m_mix[2], 0.0f);
    // A plane of the current size is taken to be new on every call.
    const bool bNewExtra = sameSize(rYE16U, m_rDS);
    const bool bStale[kScales] = {bLuminance || m_bChangedS || bNewExtra, bLuminance || m_bChangedM,
                                  bLuminance || m_bChangedL};
    const bool bAnyStale = bStale[0] || bStale[1] || bStale[2];
    if (bAnyStale) requirePlanes(*this, bLuminance && bMixed, bStale);

    setRoi(roi, level);
    std::optional<Luminance> luminance;
    if (bLuminance) luminance.emplace(*this, bMixed);
    if (Kestrova::printing())
        std::cout << "tvelline -- proc ------- rYE16U size: " << rYE16U.rows << "X" << rYE16U.cols
                  << "  m_rDS size: " << m_rDS.rows << "X" << m_rDS.cols << std::endl;
    m_bChangedS = m_bChangedS || bNewExtra;
    if (!bAnyStale) return true;

    std::optional<Detail> details[kScales];
    bool bCurved[kScales];
    for (int s = 0; s < kScales; ++s) {
        if (bStale[s]) details[s].emplace(*this, kScale[s], s == 0 ? &rYE16U : nullptr);
        bCurved[s] = bStale[s] && bNeedSHMix(s);
    }
    setUpCurves(*this, bCurved, details);

    const cv::Size size = luminance ? luminance->result().size() : m_rY.size();
    for (int s = 0; s < kScales; ++s)
        if ((details[s] ? details[s]->result() : this->*kScale[s].cache).size() != size)
            fail("ERROR - TVelline::proc - rectangle planes differ in size");
    renewRoiY(size);
    if (luminance) m_rY = luminance->result();
    for (int s = 0; s < kScales; ++s)
        if (details[s]) this->*kScale[s].cache = details[s]->result();

    parallelRows(size.height, size.width, [&](int r) noexcept {
        const ushort* y = m_rY.ptr<ushort>(r);
        if (luminance) luminance->renderRow(r);
        for (auto& detail : details)
            if (detail) detail->renderRow(r, y);
        copyRow(m_rY, m_roiY, r);
        addEdgesRow(m_rDS.ptr<ushort>(r), m_rDM.ptr<ushort>(r), m_rDL.ptr<ushort>(r), m_roiY.ptr<ushort>(r),
                    size.width);
    });

    m_bRoiChanged = m_bChangedS = m_bChangedM = m_bChangedL = m_bChangedY = false;
    return true;
}

// A host that kept the plane sees it change. Copies of the engine, and planes that the host handed back in, do not.
void TVelline::renewRoiY(cv::Size size) {
    const auto sharesPixels = [&](const cv::Mat* plane) { return plane->u == m_roiY.u; };
    const cv::Mat* const pictures[] = {&m_Y, &m_DS, &m_DM, &m_DL, &m_Dr, &m_Db};
    if (m_roiYUsers.use_count() != 1 || std::any_of(std::begin(pictures), std::end(pictures), sharesPixels)) {
        m_roiY.release();
        m_roiYUsers = std::make_shared<char>();
    }
    m_roiY.create(size, CV_16UC1);
}

void TVelline::modYWithC(const cv::Mat& dr, const cv::Mat& db, float a, float b, float c, cv::Mat& y) {
    const ChromaMix mix = chromaMix(dr, db, a, b, c);
    if (y.type() != CV_16UC1) fail("ERROR - TVelline::modYWithC - y.type()!=CV_16UC1");
    if (!atLeastAsLarge(dr, y) || !atLeastAsLarge(db, y))
        fail("ERROR - TVelline::modYWithC - chroma is smaller than y");
    parallelRows(y.rows, y.cols, [&](int r) noexcept { mixChromaRow(dr, db, mix, r, y.ptr<ushort>(r), y.cols); });
}

void TVelline::mixSMH(const cv::Mat& y, const cv::Mat& s, const cv::Mat& m, cv::Mat& h) {
    for (const cv::Mat* plane : {&y, &s, &m, static_cast<const cv::Mat*>(&h)}) {
        if (plane->type() != CV_16UC1) fail("ERROR - TVelline::mixSMH - type()!=CV_16UC1");
        if (!atLeastAsLarge(*plane, h)) fail("ERROR - TVelline::mixSMH - a plane is smaller than h");
    }
    parallelRows(h.rows, h.cols, [&](int r) noexcept {
        mixZonesRow(y.ptr<ushort>(r), s.ptr<ushort>(r), m.ptr<ushort>(r), h.ptr<ushort>(r), h.cols);
    });
}

void TVelline::addEdges(const cv::Mat& d0, const cv::Mat& d1, const cv::Mat& d2, cv::Mat& y) {
    for (const cv::Mat* plane : {&d0, &d1, &d2, static_cast<const cv::Mat*>(&y)}) {
        if (plane->type() != CV_16UC1) fail("ERROR - TVelline::addEdges - type()!=CV_16UC1");
        if (!atLeastAsLarge(*plane, y)) fail("ERROR - TVelline::addEdges - a plane is smaller than y");
    }
    parallelRows(y.rows, y.cols, [&](int r) noexcept {
        addEdgesRow(d0.ptr<ushort>(r), d1.ptr<ushort>(r), d2.ptr<ushort>(r), y.ptr<ushort>(r), y.cols);
    });
}
