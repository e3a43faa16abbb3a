#include "kestrova/detail/tvelline.h"

#include <cmath>
#include <cstddef>
#include <iterator>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/rows/interleave.h"

using namespace kestrova::frame;

namespace {

constexpr float kLeastChange = 0.01f;  // less than this counts as zero, and as no change

}  // namespace

TVelline::TVelline()
    : m_reserved0(0),
      m_reserved1(0),
      m_k{},
      m_t{},
      m_light{},
      m_mix{},
      m_bChangedS(false),
      m_bChangedM(false),
      m_bChangedL(false),
      m_bChangedY(false),
      m_level(1),
      m_bRoiChanged(false),
      m_maxPlainLevel(1) {
    orFailWithoutMemory("ERROR - TVelline::TVelline - not enough memory",
                        [this] { m_roiYUsers = std::make_shared<char>(); });
}

TVelline::TVelline(const TVelline&) = default;
TVelline& TVelline::operator=(const TVelline&) = default;
TVelline::~TVelline() = default;

bool TVelline::setup(const cv::Mat& like, TProgress*) {
    checkPlane(like);
    cv::Mat* const planes[] = {&m_Y, &m_DS, &m_DM, &m_DL};
    cv::Mat fitting[std::size(planes)];
    orFailWithoutMemory("ERROR - TVelline::setup - not enough memory", [&] {
        for (std::size_t i = 0; i < std::size(planes); ++i)
            fitting[i] = outputLike(*planes[i], like.size(), like.type());
    });
    for (std::size_t i = 0; i < std::size(planes); ++i) *planes[i] = fitting[i];
    m_bRoiChanged = true;
    return true;
}

cv::Mat& TVelline::getRoiY() { return m_roiY; }

void TVelline::setRoi(cv::Rect roi, int level) {
    if (roi == m_roi && level == m_level) return;
    m_bRoiChanged = true;
    m_roi = roi;
    m_level = level;
}

bool TVelline::bNeedSHMix(int s) {
    const float* k = m_k + 3 * s;
    const float* t = m_t + 3 * s;
    return bNZ(k[1]) || bNZ(t[1]) || bNZ(k[2]) || bNZ(t[2]) || bNZ(k[0]) || bNZ(t[0]);
}

bool TVelline::bNZ(float v) { return v >= kLeastChange || !(v > -kLeastChange); }

bool TVelline::neq(float a, float b) { return std::fabs(a - b) >= kLeastChange; }

void TVelline::computeYCurve(int* x, int* y, int* n) {
    *n = 3;
    x[0] = y[0] = 0;
    x[1] = y[1] = 32768;
    x[2] = 65535;
    y[2] = 65536;
}

void TVelline::merge2(std::vector<cv::Mat>& planes, cv::Mat& out) {
    if (planes.empty()) return;
    const cv::Mat& first = planes[0];
    checkPlane(first);
    const int rows = first.rows, cols = first.cols;
    cv::Mat pairs;
    orFailWithoutMemory("ERROR - TVelline::merge2 - not enough memory", [&] { pairs.create(rows, cols, CV_16UC2); });
    if (!pairs.empty()) {
        if (planes.size() < 2 || planes[1].rows < rows || planes[1].cols < cols)
            fail("ERROR - TVelline::merge2 - planes[1] is smaller than planes[0]");
        if (first.type() != CV_16UC1 || planes[1].type() != CV_16UC1)
            fail("ERROR - TVelline::merge2 - planes.type()!=CV_16UC1");
        checkPlane(planes[1]);
        const cv::Mat& second = planes[1];
        parallelRows(rows, 2 * cols, [&](int r) noexcept {
            kestrova::rows::interleave(first.ptr<ushort>(r), second.ptr<ushort>(r), pairs.ptr<ushort>(r), cols);
        });
    }
    out = pairs;
}

void TVelline::split2(cv::Mat& in, std::vector<cv::Mat>& planes) {
    if (in.empty() || planes.size() != 2) return;
    if (in.type() != CV_16UC2) fail("ERROR - TVelline::split2 - in.type()!=CV_16UC2");
    checkPlane(in);
    for (const cv::Mat& plane : planes) {
        if (plane.type() != CV_16UC1) fail("ERROR - TVelline::split2 - planes.type()!=CV_16UC1");
        if (plane.rows < in.rows || plane.cols < in.cols) fail("ERROR - TVelline::split2 - planes are smaller than in");
        checkPlane(plane);
    }
    parallelRows(in.rows, 2 * in.cols, [&](int r) noexcept {
        kestrova::rows::deinterleave(in.ptr<ushort>(r), planes[0].ptr<ushort>(r), planes[1].ptr<ushort>(r), in.cols);
    });
}
