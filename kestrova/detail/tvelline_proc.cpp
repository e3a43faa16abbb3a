#include <opencv2/core.hpp>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include "kestrova/curves/detail_curves.h"
#include "kestrova/detail/tlightadjlutvl.h"
#include "kestrova/detail/tvelline.h"
#include "kestrova/detail/tvelline_pieces.h"
#include "kestrova/detail/tvelline_rows.h"
#include "kestrova/frame/failure.h"
#include "kestrova/frame/kestrova.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/frame/sole_header.h"
#include "kestrova/frame/zero16.h"
#include "kestrova/image/roi.h"
#include "kestrova/image/tpimage.h"
#include "kestrova/rows/lookup_row.h"

using namespace kestrova::curves;
using namespace kestrova::detail;
using namespace kestrova::frame;
using namespace kestrova::image;

namespace {

constexpr int kScales = 3;

// Where the planes of a scale stand, and the range of its curves.
struct DetailScale {
    cv::Mat TVelline::*full;
    cv::Mat TVelline::*cache;
    float kMin, kMax;
    int threshold;
    float blurScale;
};
constexpr DetailScale kScale[kScales] = {
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
    if (dr.type() == CV_16UC1 && db.type() == CV_16UC1) return {a - b, c - b, (2.0f * b - a - c) * kZero16};
    failTraced("TVelline::modYWithC", 374, "bad dr type");
}

// Chroma of either type into luminance.
void mixChroma(const cv::Mat& dr, const cv::Mat& db, const ChromaMix& mix, const Piece& at, const ushort* from,
               ushort* to) noexcept {
    if (dr.type() == CV_8UC1)
        mixChromaRow(at.of<uchar>(dr), at.of<uchar>(db), mix, from, to, at.n);
    else
        mixChromaRow(at.of(dr), at.of(db), mix, from, to, at.n);
}

// A plane of the picture for the rectangle: at step 1 a header on the picture's own pixels, else new pixels.
struct Sampled {
    cv::Mat plane;
    bool isNew;
};

Sampled sample(const TVelline& engine, const cv::Mat& full, bool smooth) {
    const cv::Rect& roi = engine.m_roi;
    if (engine.m_level == 1 && !smooth) return {regionOf(full, roi.x, roi.y, roi.width, roi.height, 1), false};
    return {TPImage::MatRoi(full, roi.x, roi.y, roi.width, roi.height, engine.m_level, false, smooth), true};
}

// A plane of `size` in the memory of one of another size that nobody else sees, or in new memory where there is too
// little of it, or far too much: first touches of new memory take longer than a rendering.
cv::Mat resizedPlane(const cv::Mat& before, cv::Size size) {
    constexpr std::size_t kMostRoom = 4;
    const std::size_t pixels = static_cast<std::size_t>(size.area());
    if (before.empty() || before.type() != CV_16UC1 || pixels == 0) return {size, CV_16UC1};
    cv::Mat room = before;
    cv::Size whole;
    cv::Point at;
    room.locateROI(whole, at);
    room.adjustROI(at.y, whole.height - at.y - room.rows, at.x, whole.width - at.x - room.cols);
    if (!room.isContinuous() || room.total() < pixels || room.total() / kMostRoom > pixels) return {size, CV_16UC1};
    return room.reshape(1, 1).colRange(0, static_cast<int>(pixels)).reshape(1, size.height);
}

// A plane of `size` in place of `before`: its pixels if it has that size.
cv::Mat planeLike(const cv::Mat& before, cv::Size size) {
    const bool fits = before.size() == size && before.type() == CV_16UC1;
    return fits || !isSoleHeader(before) ? outputLike(before, size, CV_16UC1) : resizedPlane(before, size);
}

// The plane that the result made of `sampled` goes into: the same if its pixels are new, those of the cache that it
// replaces if nobody else sees them, else others.
cv::Mat renderedPlane(const Sampled& sampled, const cv::Mat& cache) {
    if (sampled.isNew) return sampled.plane;
    const cv::Size size = sampled.plane.size();
    return isSoleHeader(cache) ? planeLike(cache, size) : cv::Mat(size, CV_16UC1);
}

// The rectangle's luminance under mix and light curve.
class Luminance {
public:
    Luminance(const TVelline& engine, bool mixed) : m_mixed(mixed) {
        const Sampled y = sample(engine, engine.m_Y, false);
        if (m_mixed) {
            m_dr = sample(engine, engine.m_Dr, false).plane;
            m_db = sample(engine, engine.m_Db, false).plane;
            m_mix = chromaMix(m_dr, m_db, engine.m_mix[0], engine.m_mix[1], engine.m_mix[2]);
        }
        m_y = y.plane;
        if (m_y.type() != CV_16UC1) TLightAdjLUTvl().proc(m_y, true);  // refuses it
        m_result = renderedPlane(y, engine.m_rY);
    }

    const cv::Mat& result() const { return m_result; }

    void render(const Piece& at, const Piece& next, const ushort* lightTable) noexcept {
        next.ask(m_y);
        next.askToWrite(m_result);
        const ushort* from = at.of(m_y);
        ushort* const y = at.in(m_result);
        if (m_mixed) {
            next.ask(m_dr);
            next.ask(m_db);
            mixChroma(m_dr, m_db, m_mix, at, from, y);
            from = y;
        }
        kestrova::rows::lookUpRow(from, y, at.n, lightTable);
    }

private:
    cv::Mat m_y, m_dr, m_db, m_result;
    bool m_mixed;
    ChromaMix m_mix;
};

// One scale of the rectangle after its curves.
class Detail {
public:
    // `extra` is added before the curves if it has the size of the rectangle.
    Detail(const TVelline& engine, const DetailScale& scale, const cv::Mat& extra) {
        Sampled detail = sample(engine, engine.*scale.full, engine.m_level > engine.m_maxPlainLevel);
        if (detail.plane.type() != CV_16UC1) fail("ERROR - TVelline::proc - detail.type()!=CV_16UC1");
        if (!extra.empty() && sameSize(extra, detail.plane)) {
            if (extra.channels() != 1) fail("ERROR - TVelline::proc - rYE16U.channels()!=1");
            if (extra.depth() == CV_16F) fail("ERROR - TVelline::proc - rYE16U.depth()==CV_16F");
            checkPlane(extra);
            if (extra.type() == CV_16UC1) {
                m_extra = extra;
            } else {
                cv::Mat sum;
                cv::addWeighted(detail.plane, 1.0, extra, 1.0, -kZero16, sum, CV_16U);
                detail = {sum, true};
            }
        }
        m_detail = detail.plane;
        m_result = renderedPlane(detail, engine.*scale.cache);
    }

    const cv::Mat& result() const { return m_result; }

    // `curves` may be null.
    void render(const Piece& at, const Piece& next, const ushort* y, const ZoneCurves* curves) noexcept {
        next.ask(m_detail);
        next.askToWrite(m_result);
        const ushort* from = at.of(m_detail);
        ushort* const d = at.in(m_result);
        if (!m_extra.empty()) {
            addDetailRow(at.of(m_extra), from, d, at.n);
            from = d;
        }
        if (curves)
            curveZonesRow(y, curves->entries(), from, d, at.n);
        else if (from != d)
            std::copy_n(from, at.n, d);
    }

private:
    cv::Mat m_detail, m_extra, m_result;
};

// The light curve with the parameters that it is of.
struct LightTable {
    std::array<float, 6> parameters;
    TLightAdjLUTvl curve;
    const ushort* entries = nullptr;

    explicit LightTable(const std::array<float, 6>& p) : parameters(p) {
        curve.setupCurve(p[0], p[1], p[2], p[3], p[4], p[5]);
    }
    void compute() noexcept { entries = curve.table(); }
};

// The curves of a scale likewise, of shadows, midtones and highlights.
struct ScaleTable {
    std::array<DetailCurve, 3> parameters;
    ZoneCurves curves;
};

// To the bit: parameters may be NaN.
template <class Parameters>
bool sameBits(const Parameters& a, const Parameters& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

std::array<DetailCurve, 3> curvesOf(const TVelline& engine, int s) {
    const float* k = engine.m_k + 3 * s;
    const float* t = engine.m_t + 3 * s;
    const DetailScale& c = kScale[s];
    const auto curve = [&](float ownK, float ownT, float baseK, float baseT) {
        return DetailCurve{ownK, ownT, baseK, baseT, c.kMin, c.kMax, c.threshold, c.blurScale};
    };
    return {curve(k[1], t[1], k[0], t[0]), curve(k[2], t[2], k[0], t[0]), curve(k[0], t[0], 0.0f, 0.0f)};
}

}  // namespace

// What a call has to compute again. Details are blended by luminance: where that is stale, so are they.
struct TVelline::Stale {
    bool luminance;
    bool scale[kScales];
    bool chroma;    // luminance is stale, and chroma is mixed into it
    bool newExtra;  // the extra plane has the size of the last rectangle: it is taken to be new on every call

    bool any() const { return scale[0] || scale[1] || scale[2]; }
};

// Tables that a call needs and that no call before has left. They are never written again: copies of the engine share
// them.
struct TVelline::Tables {
    std::shared_ptr<const LightTable> light;
    std::shared_ptr<const ScaleTable> scale[kScales];
};

std::shared_ptr<const TVelline::Tables> TVelline::tablesFor(bool needsLight, const bool curved[kScales]) const {
    const auto tables = m_tables ? std::make_shared<Tables>(*m_tables) : std::make_shared<Tables>();
    std::shared_ptr<LightTable> light;
    if (needsLight) {
        std::array<float, 6> parameters;
        std::copy_n(m_light, parameters.size(), parameters.begin());
        if (!tables->light || !sameBits(tables->light->parameters, parameters))
            tables->light = light = std::make_shared<LightTable>(parameters);
    }
    std::vector<int> changed;
    std::vector<DetailCurve> list;
    for (int s = 0; s < kScales; ++s) {
        const std::array<DetailCurve, 3> parameters = curvesOf(*this, s);
        if (!curved[s] || (tables->scale[s] && sameBits(tables->scale[s]->parameters, parameters))) continue;
        changed.push_back(s);
        list.insert(list.end(), parameters.begin(), parameters.end());
    }
    if (list.empty()) {
        if (!light) return m_tables;
        light->compute();
        return tables;
    }
    const DetailCurves curves(list, light ? [&] { light->compute(); } : std::function<void()>());
    for (std::size_t i = 0; i < changed.size(); ++i) {
        const int first = 3 * static_cast<int>(i);
        tables->scale[changed[i]] = std::make_shared<ScaleTable>(
            ScaleTable{curvesOf(*this, changed[i]), {curves[first], curves[first + 1], curves[first + 2]}});
    }
    return tables;
}

TVelline::Stale TVelline::staleParts(cv::Rect roi, int level, const cv::Mat& extra) {
    Stale stale;
    stale.luminance = m_bRoiChanged || m_bChangedY || roi != m_roi || level != m_level;
    stale.chroma = stale.luminance && (neq(m_mix[0], 0.0f) || neq(m_mix[1], 0.0f) || neq(m_mix[2], 0.0f));
    stale.newExtra = sameSize(extra, m_rDS);
    stale.scale[0] = stale.luminance || m_bChangedS || stale.newExtra;
    stale.scale[1] = stale.luminance || m_bChangedM;
    stale.scale[2] = stale.luminance || m_bChangedL;
    return stale;
}

void TVelline::requirePlanes(const Stale& stale) const {
    if (!stale.any()) return;
    if (m_Y.empty()) fail("ERROR - TVelline::proc - m_Y.empty()");
    const auto fits = [this](const cv::Mat& plane) { return plane.data && plane.size == m_Y.size; };
    if (stale.chroma && !(fits(m_Dr) && fits(m_Db)))
        fail("ERROR - TVelline::proc - m_Dr.size!=m_Y.size || m_Db.size!=m_Y.size");
    for (int s = 0; s < kScales; ++s)
        if (stale.scale[s] && !fits(this->*kScale[s].full))
            fail("ERROR - TVelline::proc - a detail plane's size!=m_Y.size");
}

bool TVelline::proc(cv::Rect roi, int level, cv::Mat rYE16U) {
    const Stale stale = staleParts(roi, level, rYE16U);
    requirePlanes(stale);
    setRoi(roi, level);
    orFailWithoutMemory("ERROR - TVelline::proc - not enough memory", [&] { renew(stale, rYE16U); });
    m_bRoiChanged = m_bChangedS = m_bChangedM = m_bChangedL = m_bChangedY = false;
    return true;
}

// All that can fail comes first; then the caches change, row by row.
void TVelline::renew(const Stale& stale, const cv::Mat& extra) {
    std::optional<Luminance> luminance;
    if (stale.luminance) luminance.emplace(*this, stale.chroma);

    // A documented line, on every call, here: the small scale still has the size of the last rectangle.
    if (Kestrova::printing())
        std::cout << "tvelline -- proc ------- rYE16U size: " << extra.rows << "X" << extra.cols
                  << "  m_rDS size: " << m_rDS.rows << "X" << m_rDS.cols << std::endl;
    if (stale.newExtra) m_bChangedS = true;
    if (!stale.any()) return;

    std::optional<Detail> details[kScales];
    bool curved[kScales];
    for (int s = 0; s < kScales; ++s) {
        if (stale.scale[s]) details[s].emplace(*this, kScale[s], s == 0 ? extra : cv::Mat());
        curved[s] = stale.scale[s] && bNeedSHMix(s);
    }
    const std::shared_ptr<const Tables> tables = tablesFor(stale.luminance, curved);

    const cv::Mat y = luminance ? luminance->result() : m_rY;
    cv::Mat d[kScales];
    for (int s = 0; s < kScales; ++s) {
        d[s] = details[s] ? details[s]->result() : this->*kScale[s].cache;
        if (d[s].size() != y.size()) fail("ERROR - TVelline::proc - rectangle planes differ in size");
    }

    // The host sees the pixels of its last result change, unless something that is still to be read shows them too.
    const cv::Mat* const read[] = {&m_Y, &m_DS, &m_DM, &m_DL, &m_Dr, &m_Db, &y, &d[0], &d[1], &d[2]};
    const bool othersSee =
        m_roiYUsers.use_count() > 1 || overlapAcrossRows(extra, m_roiY) ||
        std::any_of(std::begin(read), std::end(read), [this](const cv::Mat* plane) { return overlap(*plane, m_roiY); });
    const auto users = othersSee ? std::make_shared<char>() : m_roiYUsers;
    cv::Mat result = othersSee ? cv::Mat(y.size(), CV_16UC1) : planeLike(m_roiY, y.size());

    m_rY = y;
    for (int s = 0; s < kScales; ++s) this->*kScale[s].cache = d[s];
    m_roiY = result;
    m_roiYUsers = users;
    m_tables = tables;
    forEachStrip(Strips(y.rows, workOf(y.cols, 8)), [&](int first, int end) noexcept {
        forEachPiece(first, end, y.cols, [&](const Piece& at, const Piece& next) noexcept {
            if (luminance) luminance->render(at, next, tables->light->entries);
            for (int s = 0; s < kScales; ++s)
                if (details[s]) details[s]->render(at, next, at.of(y), curved[s] ? &tables->scale[s]->curves : nullptr);
            next.askToWrite(result);
            addEdgesRow(at.of(d[0]), at.of(d[1]), at.of(d[2]), at.of(y), at.in(result), at.n);
        });
    });
}

void TVelline::modYWithC(const cv::Mat& dr, const cv::Mat& db, float a, float b, float c, cv::Mat& y) {
    const ChromaMix mix = chromaMix(dr, db, a, b, c);
    if (y.type() != CV_16UC1) fail("ERROR - TVelline::modYWithC - y.type()!=CV_16UC1");
    if (!atLeastAsLarge(dr, y) || !atLeastAsLarge(db, y))
        fail("ERROR - TVelline::modYWithC - chroma is smaller than y");
    checkPlanes(dr, db, y);
    parallelRows(y.rows, y.cols, [&](int r) noexcept {
        const Piece row{r, 0, y.cols};
        mixChroma(dr, db, mix, row, row.of(y), row.in(y));
    });
}

void TVelline::mixSMH(const cv::Mat& y, const cv::Mat& s, const cv::Mat& m, cv::Mat& h) {
    for (const cv::Mat* plane : {&y, &s, &m, static_cast<const cv::Mat*>(&h)}) {
        if (plane->type() != CV_16UC1) fail("ERROR - TVelline::mixSMH - type()!=CV_16UC1");
        if (!atLeastAsLarge(*plane, h)) fail("ERROR - TVelline::mixSMH - a plane is smaller than h");
        checkPlane(*plane);
    }
    parallelRows(h.rows, h.cols, [&](int r) noexcept {
        mixZonesRow(y.ptr<ushort>(r), s.ptr<ushort>(r), m.ptr<ushort>(r), h.ptr<ushort>(r), h.cols);
    });
}

void TVelline::addEdges(const cv::Mat& d0, const cv::Mat& d1, const cv::Mat& d2, cv::Mat& y) {
    for (const cv::Mat* plane : {&d0, &d1, &d2, static_cast<const cv::Mat*>(&y)}) {
        if (plane->type() != CV_16UC1) fail("ERROR - TVelline::addEdges - type()!=CV_16UC1");
        if (!atLeastAsLarge(*plane, y)) fail("ERROR - TVelline::addEdges - a plane is smaller than y");
        checkPlane(*plane);
    }
    parallelRows(y.rows, y.cols, [&](int r) noexcept {
        ushort* const row = y.ptr<ushort>(r);
        addEdgesRow(d0.ptr<ushort>(r), d1.ptr<ushort>(r), d2.ptr<ushort>(r), row, row, y.cols);
    });
}
