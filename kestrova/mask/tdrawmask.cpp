#include "kestrova/mask/tdrawmask.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/frame/sole_header.h"
#include "kestrova/image/tpimage.h"
#include "kestrova/primitives/primitives.h"
#include "kestrova/resample/resample.h"

using namespace kestrova::frame;

namespace {

constexpr char kNoMemoryToBind[] = "ERROR - TDrawMask::setInImage - not enough memory";

template <class Element>
void makeRoomForOne(std::vector<Element>& list) {
    if (list.size() == list.capacity()) list.reserve(2 * list.size() + 1);
}

}  // namespace

TMaskParam::TMaskParam() {}

TMaskParam::TMaskParam(int x, int y, uchar value, int outerR, int innerR, float opacity, float tolerance)
    : m_value(value), m_outerR(outerR), m_innerR(innerR), m_opacity(opacity), m_tolerance(tolerance), m_x(x), m_y(y) {}

TMaskParam::TMaskParam(int startValue, float startScale) : m_startValue(startValue), m_startScale(startScale) {}

TMaskCmd::TMaskCmd() {}
TMaskCmd::TMaskCmd(DrawType type, TMaskParam* param) : m_type(type), m_param_p(param) {}

// A command and its parameters in one block, which lives as long as a stack that holds it.
struct TDrawMask::Command {
    Command(TMaskCmd::DrawType type, const TMaskParam* param) : cmd(type, nullptr) {
        if (param) cmd.m_param_p = &parameters.emplace(*param);
    }

    std::optional<TMaskParam> parameters;
    TMaskCmd cmd;
};

// Where the planes of the running stroke differ from those of a fresh one, so that beginning the next stroke costs as
// much as undoing the last one and not a sweep over the whole mask. A fill, an inversion and another mask end it.
struct TDrawMask::StrokeArea {
    // Whose planes: of the copies that share this, each may have a stroke or a mask of its own.
    const uchar* stroke = nullptr;
    const uchar* mask = nullptr;
    cv::Rect touched;
};

TDrawMask::TDrawMask() {
    orFailWithoutMemory("ERROR - TDrawMask::TDrawMask - not enough memory",
                        [this] { m_strokeArea = std::make_shared<StrokeArea>(); });
}

TDrawMask::TDrawMask(const TDrawMask& other) : TDrawMask() { *this = other; }

TDrawMask& TDrawMask::operator=(const TDrawMask& other) {
    if (this == &other) return *this;
    std::vector<TMaskCmd*> cmdStack;
    std::vector<std::shared_ptr<Command>> commands;
    orFailWithoutMemory("ERROR - TDrawMask::operator= - not enough memory", [&] {
        cmdStack = other.m_cmdStack;
        commands = other.m_commands;
    });
    m_reserved0 = other.m_reserved0;
    m_reserved1 = other.m_reserved1;
    m_cmdStack = std::move(cmdStack);
    m_cmdIdx = other.m_cmdIdx;
    m_profile_p = other.m_profile_p;
    m_outerR = other.m_outerR;
    m_innerR = other.m_innerR;
    m_inY = other.m_inY;
    m_inDr = other.m_inDr;
    m_inDb = other.m_inDb;
    m_mask = other.m_mask;
    m_baseMask = other.m_baseMask;
    m_stroke = other.m_stroke;
    m_maskAtStart = other.m_maskAtStart;
    m_patchX0 = other.m_patchX0;
    m_patchX1 = other.m_patchX1;
    m_patchY0 = other.m_patchY0;
    m_patchY1 = other.m_patchY1;
    m_maskX = other.m_maskX;
    m_maskY = other.m_maskY;
    m_firstDot = other.m_firstDot;
    m_dirty = other.m_dirty;
    m_commands = std::move(commands);
    m_profile = other.m_profile;
    m_profileEnd = other.m_profileEnd;
    m_strokeArea = other.m_strokeArea;
    m_rebuildPending = other.m_rebuildPending;
    return *this;
}

TDrawMask::~TDrawMask() = default;

void TDrawMask::setInImage(TPImage* image) {
    if (!image) fail("ERROR - TDrawMask::setInImage - image is null");
    checkPlanes(image->m_Y, image->m_Dr, image->m_Db, image->m_mask);
    if (image->m_mask.type() != CV_8UC1) fail("ERROR - TDrawMask::setInImage - image->m_mask.type() != CV_8UC1");
    cv::Mat y, mask;
    orFailWithoutMemory(kNoMemoryToBind, [&] {
        cv::Mat halfY(image->hHeight(), image->hWidth(), CV_16UC1);
        downSize2X(image->m_Y, halfY, kInterpCubic);
        halfY.convertTo(y, CV_8U, 1.0 / 255);  // 255 from 64898 on, not for white alone: intentional
        mask = image->m_mask.clone();
    });

    const bool hadPicture = !m_inY.empty();
    m_inY = y;
    m_inDr = image->m_Dr;
    m_inDb = image->m_Db;
    m_baseMask = image->m_mask;
    replaceMask(mask);
    if (hadPicture) emptyCmdStack();
}

void TDrawMask::setInImage(const cv::Mat& y, const cv::Mat& dr, const cv::Mat& db) {
    const bool hadPicture = !m_inY.empty();
    if (hadPicture && m_inY.size() == y.size()) return;
    checkPlanes(y, dr, db);
    if (y.empty()) fail("Error - TFDrawMask::resetMask - ippStsError");
    if (y.type() != CV_8UC1) fail("ERROR - TDrawMask::setInImage - y.type() != CV_8UC1");
    for (const cv::Mat* chroma : {&dr, &db}) {
        if (!chroma->empty() && chroma->type() != CV_16UC1)
            fail("ERROR - TDrawMask::setInImage - dr.type() != CV_16UC1 || db.type() != CV_16UC1");
    }
    cv::Mat mask;
    orFailWithoutMemory(kNoMemoryToBind, [&] { mask.create(y.size(), CV_8UC1); });
    resetMask(mask, 255);

    m_inY = y;
    m_inDr = dr;
    m_inDb = db;
    replaceMask(mask);
    if (hadPicture) emptyCmdStack();
}

void TDrawMask::append(TMaskCmd::DrawType type, const TMaskParam* param, const char* noMemory) {
    orFailWithoutMemory(noMemory, [&] {
        const auto command = std::make_shared<Command>(type, param);
        makeRoomForOne(m_commands);
        makeRoomForOne(m_cmdStack);
        m_commands.push_back(command);
        m_cmdStack.push_back(&command->cmd);
    });
}

void TDrawMask::popCommand() {
    m_cmdStack.pop_back();
    m_commands.pop_back();
}

void TDrawMask::drawStart(int startValue, float startScale) {
    const TMaskParam param(startValue, startScale);
    append(TMaskCmd::DrawStrokeStart, &param, "ERROR - TDrawMask::drawStart - not enough memory");
}

void TDrawMask::drawADot(const cv::Point& p, uchar value, int radius) {
    drawADot(p, value, radius, radius, 1.0f, 0.0f);
}

void TDrawMask::drawADot(const cv::Point& p, uchar value, int outerR, int innerR, float opacity, float tolerance) {
    const TMaskParam param(p.x / 2, p.y / 2, value, outerR / 2, innerR / 2, opacity, tolerance);
    append(TMaskCmd::DrawStrokeDot, &param, "ERROR - TDrawMask::drawADot - not enough memory");
}

void TDrawMask::drawEnd() {
    append(TMaskCmd::DrawStrokeEnd, nullptr, "ERROR - TDrawMask::drawEnd - not enough memory");
}

void TDrawMask::setValue(uchar value) {
    const TMaskParam param(0, 0, value, 0, 0, 1.0f, 0.0f);
    append(TMaskCmd::DrawSetValue, &param, "ERROR - TDrawMask::setValue - not enough memory");
}

void TDrawMask::invert() { append(TMaskCmd::DrawInvert, nullptr, "ERROR - TDrawMask::invert - not enough memory"); }

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
    cv::Mat mask;
    orFailWithoutMemory("ERROR - TDrawMask::reset - not enough memory", [&] { mask = m_baseMask.clone(); });
    replaceMask(mask);
    emptyCmdStack();
}

bool TDrawMask::proc() {
    if (bNeedUpdate() || m_rebuildPending)
        orFailWithoutMemory("ERROR - TDrawMask::proc - not enough memory", [this] { replay(); });
    return true;
}

cv::Mat TDrawMask::getMaskRoi(const cv::Rect& r, int step) {
    if (m_mask.empty()) return cv::Mat();
    cv::Mat roi;
    orFailWithoutMemory("ERROR - TDrawMask::getMaskRoi - not enough memory", [&] {
        roi = step < 1 ? m_mask.clone() : TPImage::MatRoi(m_mask, r.x, r.y, r.width, r.height, step, true, false);
    });
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
    *m_strokeArea = StrokeArea();
    const IppiSize size{mask.cols, mask.rows};
    if (ippiSet_8u_C1R(value, mask.data, stepOf(mask), size) != ippStsNoErr)
        fail("Error - TFDrawMask::resetMask - ippStsError");
    return true;
}

bool TDrawMask::invertMask() {
    *m_strokeArea = StrokeArea();
    const IppiSize size{m_mask.cols, m_mask.rows};
    if (ippiXorC_8u_C1IR(255, m_mask.data, stepOf(m_mask), size) != ippStsNoErr)
        fail("Error - TFDrawMask::invertMask - ippStsError");
    return true;
}

void TDrawMask::fillMask(uchar value) {
    resetMask(m_mask, value);
    m_dirty = true;
}

void TDrawMask::replaceMask(const cv::Mat& mask) {
    *m_strokeArea = StrokeArea();
    m_mask = mask;
    m_dirty = true;
}

bool TDrawMask::fitsMask(const cv::Mat& plane) const { return plane.data && plane.size() == m_mask.size(); }

void TDrawMask::beginStroke() {
    StrokeArea& area = *m_strokeArea;
    if (area.stroke && area.stroke == m_stroke.data && area.mask == m_mask.data) {
        if (!area.touched.empty()) {
            m_stroke(area.touched).setTo(0);
            m_mask(area.touched).copyTo(m_maskAtStart(area.touched));
        }
    } else {
        const auto planeLikeMask = [this](const cv::Mat& plane) {
            return outputLike(isSoleHeader(plane) ? plane : cv::Mat(), m_mask.size(), CV_8UC1);
        };
        cv::Mat stroke = planeLikeMask(m_stroke), start = planeLikeMask(m_maskAtStart);
        resetMask(stroke, 0);
        m_mask.copyTo(start);
        m_stroke = stroke;
        m_maskAtStart = start;
        area.stroke = m_stroke.data;
        area.mask = m_mask.data;
    }
    area.touched = cv::Rect();
}

void TDrawMask::touch(const cv::Rect& part) {
    if (!fitsMask(m_stroke)) fail("ERROR - TDrawMask::drawStrokeDot - no stroke has begun");
    m_strokeArea->touched |= part;
}
