#include "kestrova/mask/tdrawmask.h"

#include <algorithm>
#include <optional>

#include "kestrova/frame/failure.h"
#include "kestrova/image/tpimage.h"
#include "kestrova/primitives/primitives.h"
#include "kestrova/resample/resample.h"

using namespace kestrova::frame;

TMaskParam::TMaskParam() {}

TMaskParam::TMaskParam(int x, int y, uchar value, int outerR, int innerR, float opacity, float tolerance)
    : m_value(value), m_outerR(outerR), m_innerR(innerR), m_opacity(opacity), m_tolerance(tolerance), m_x(x), m_y(y) {}

TMaskParam::TMaskParam(int startValue, float startScale) : m_startValue(startValue), m_startScale(startScale) {}

TMaskCmd::TMaskCmd(DrawType type, TMaskParam* param) : m_type(type), m_param_p(param) {}

/// A command and its parameters in one block, which lives as long as a stack that holds it.
struct TDrawMask::Command {
    Command(TMaskCmd::DrawType type, const TMaskParam* param) : cmd(type, nullptr) {
        if (param) cmd.m_param_p = &parameters.emplace(*param);
    }

    std::optional<TMaskParam> parameters;
    TMaskCmd cmd;
};

/// Where the planes of the running stroke differ from those of a fresh one, so that beginning the next stroke costs as
/// much as undoing the last one and not a sweep over the whole mask.
struct TDrawMask::StrokeArea {
    const uchar* stroke = nullptr;  ///< whose planes: copies may share a mask and have a stroke of their own each
    cv::Rect touched;
    bool valid = false;  ///< false if the mask has changed elsewhere as well
};

TDrawMask::TDrawMask() { detachStroke(); }
TDrawMask::TDrawMask(const TDrawMask&) = default;
TDrawMask& TDrawMask::operator=(const TDrawMask&) = default;
TDrawMask::~TDrawMask() = default;

void TDrawMask::setInImage(TPImage* image) {
    if (!image) fail("ERROR - TDrawMask::setInImage - image is null");
    if (image->m_mask.type() != CV_8UC1) fail("ERROR - TDrawMask::setInImage - image->m_mask.type() != CV_8UC1");
    cv::Mat halfY((image->m_Y.rows + 1) / 2, (image->m_Y.cols + 1) / 2, CV_16UC1);
    downSize2X(image->m_Y, halfY, 4);

    const bool hadPicture = !m_inY.empty();
    cv::Mat y;
    halfY.convertTo(y, CV_8U, 0.00392156862745098);
    m_inY = y;
    m_inDr = image->m_Dr;
    m_inDb = image->m_Db;
    m_baseMask = image->m_mask;
    m_mask = m_baseMask.clone();
    m_dirty = true;
    detachStroke();
    if (hadPicture) emptyCmdStack();
}

void TDrawMask::setInImage(const cv::Mat& y, const cv::Mat& dr, const cv::Mat& db) {
    const bool hadPicture = !m_inY.empty();
    if (hadPicture && m_inY.size() == y.size()) return;
    if (y.empty()) fail("Error - TFDrawMask::resetMask - ippStsError");
    if (y.type() != CV_8UC1) fail("ERROR - TDrawMask::setInImage - y.type() != CV_8UC1");
    for (const cv::Mat* chroma : {&dr, &db}) {
        if (chroma->empty()) continue;
        if (chroma->type() != CV_16UC1)
            fail("ERROR - TDrawMask::setInImage - dr.type() != CV_16UC1 || db.type() != CV_16UC1");
        if (chroma->size() != y.size())
            fail("ERROR - TDrawMask::setInImage - dr.size() != y.size() || db.size() != y.size()");
    }

    m_inY = y;
    m_inDr = dr;
    m_inDb = db;
    m_mask = cv::Mat(y.size(), CV_8UC1);
    fillMask(255);
    detachStroke();
    if (hadPicture) emptyCmdStack();
}

void TDrawMask::append(TMaskCmd::DrawType type, const TMaskParam* param) {
    m_commands.push_back(std::make_shared<Command>(type, param));
    m_cmdStack.push_back(&m_commands.back()->cmd);
}

void TDrawMask::popCommand() {
    m_cmdStack.pop_back();
    m_commands.pop_back();
}

void TDrawMask::drawStart(int startValue, float startScale) {
    const TMaskParam param(startValue, startScale);
    append(TMaskCmd::DrawStrokeStart, &param);
}

void TDrawMask::drawADot(const cv::Point& p, uchar value, int radius) {
    drawADot(p, value, radius, radius, 1.0f, 0.0f);
}

void TDrawMask::drawADot(const cv::Point& p, uchar value, int outerR, int innerR, float opacity, float tolerance) {
    const TMaskParam param(p.x / 2, p.y / 2, value, outerR / 2, innerR / 2, opacity, tolerance);
    append(TMaskCmd::DrawStrokeDot, &param);
}

void TDrawMask::drawEnd() { append(TMaskCmd::DrawStrokeEnd, nullptr); }

void TDrawMask::setValue(uchar value) {
    const TMaskParam param(0, 0, value, 0, 0, 1.0f, 0.0f);
    append(TMaskCmd::DrawSetValue, &param);
}

void TDrawMask::invert() { append(TMaskCmd::DrawInvert, nullptr); }

void TDrawMask::undo() {
    if (m_cmdStack.empty()) fail("Error: TFDrawMask::undo Mask cmd stack is empty!!!");
    const auto isA = [](TMaskCmd::DrawType type) { return [type](const TMaskCmd* c) { return c->m_type == type; }; };
    const auto lastOf = [&](TMaskCmd::DrawType type) {
        return static_cast<int>(m_cmdStack.rend() - std::find_if(m_cmdStack.rbegin(), m_cmdStack.rend(), isA(type))) -
               1;
    };

    const TMaskCmd::DrawType top = m_cmdStack.back()->m_type;
    if (top == TMaskCmd::DrawSetValue || top == TMaskCmd::DrawInvert) {
        popCommand();
    } else if (top == TMaskCmd::DrawStrokeEnd) {
        const int start = lastOf(TMaskCmd::DrawStrokeStart);
        if (start < 0) fail("ERROR - TDrawMask::undo - stroke without a start");
        while (static_cast<int>(m_cmdStack.size()) > start) popCommand();
    }
    m_rebuildPending = m_cmdStack.empty() && !m_mask.empty();
    m_cmdIdx = std::max(lastOf(TMaskCmd::DrawSetValue) - 1, -1);
}

void TDrawMask::reset() {
    m_mask = m_baseMask.clone();
    m_dirty = true;
    detachStroke();
    emptyCmdStack();
}

bool TDrawMask::proc() {
    if (!bNeedUpdate() && !m_rebuildPending) return true;
    const int n = static_cast<int>(m_cmdStack.size());
    for (int i = n - 1; i > m_cmdIdx; --i) {
        if (m_cmdStack[i]->m_type == TMaskCmd::DrawSetValue) {
            m_cmdIdx = i - 1;
            break;
        }
    }
    if (m_cmdIdx < 0) fillMask(255);
    while (m_cmdIdx < n - 1) {
        const TMaskCmd& cmd = *m_cmdStack[m_cmdIdx + 1];
        switch (cmd.m_type) {
            case TMaskCmd::DrawSetValue: fillMask(cmd.m_param_p->m_value); break;
            case TMaskCmd::DrawInvert:
                invertMask();
                m_dirty = true;
                break;
            case TMaskCmd::DrawStrokeStart: m_firstDot = true; break;
            case TMaskCmd::DrawStrokeDot:
                drawStrokeDot(m_firstDot, cmd.m_param_p);
                m_firstDot = false;
                m_dirty = true;
                break;
            case TMaskCmd::DrawStrokeEnd: break;
        }
        ++m_cmdIdx;
    }
    m_rebuildPending = false;
    return true;
}

cv::Mat TDrawMask::getMaskRoi(const cv::Rect& r, int step) {
    if (m_mask.empty()) return cv::Mat();
    cv::Mat roi = step < 1 ? m_mask.clone() : TPImage::MatRoi(m_mask, r.x, r.y, r.width, r.height, step, true, false);
    m_dirty = false;
    return roi;
}

bool TDrawMask::bdirty() { return m_dirty; }
void TDrawMask::setDirty(bool dirty) { m_dirty = dirty; }

bool TDrawMask::bNeedUpdate() { return m_cmdIdx < static_cast<int>(m_cmdStack.size()) - 1; }

void TDrawMask::emptyCmdStack() {
    m_cmdStack.clear();
    m_commands.clear();
    m_cmdIdx = -1;
    m_rebuildPending = false;
}

bool TDrawMask::resetMask(cv::Mat& mask, uchar value) {
    m_strokeArea->valid = false;
    const IppiSize size{mask.cols, mask.rows};
    if (ippiSet_8u_C1R(value, mask.data, static_cast<int>(mask.step), size) != ippStsNoErr)
        fail("Error - TFDrawMask::resetMask - ippStsError");
    return true;
}

bool TDrawMask::invertMask() {
    const IppiSize size{m_mask.cols, m_mask.rows};
    if (ippiXorC_8u_C1IR(255, m_mask.data, static_cast<int>(m_mask.step), size) != ippStsNoErr)
        fail("Error - TFDrawMask::invertMask - ippStsError");
    m_strokeArea->valid = false;
    return true;
}

void TDrawMask::fillMask(uchar value) {
    resetMask(m_mask, value);
    m_dirty = true;
}

void TDrawMask::detachStroke() {
    m_stroke.release();
    m_maskAtStart.release();
    m_strokeArea = std::make_shared<StrokeArea>();
}

void TDrawMask::beginStroke() {
    if (m_strokeArea->valid && m_strokeArea->stroke == m_stroke.data) {
        const cv::Rect& touched = m_strokeArea->touched;
        if (!touched.empty()) {
            m_stroke(touched).setTo(0);
            m_mask(touched).copyTo(m_maskAtStart(touched));
        }
    } else {
        m_stroke.create(m_mask.size(), CV_8UC1);
        resetMask(m_stroke, 0);
        m_mask.copyTo(m_maskAtStart);
        m_strokeArea->stroke = m_stroke.data;
        m_strokeArea->valid = true;
    }
    m_strokeArea->touched = cv::Rect();
}

void TDrawMask::touch(const cv::Point& p, int radius) {
    const int x0 = std::max(p.x - radius, 0), x1 = std::min(p.x + radius, m_mask.cols - 1);
    const int y0 = std::max(p.y - radius, 0), y1 = std::min(p.y + radius, m_mask.rows - 1);
    if (x0 <= x1 && y0 <= y1) m_strokeArea->touched |= cv::Rect(cv::Point(x0, y0), cv::Point(x1 + 1, y1 + 1));
}
