#include "kestrova/mask/tdrawmask_replay.h"

using namespace kestrova::mask;

// The replay of the commands. A dot is shown in the mask only where no later dot of its stroke is: what that one shows
// depends on the coverage and on the mask before the stroke alone.

void TDrawMask::replay() {
    const int n = static_cast<int>(m_cmdStack.size());
    for (int i = n - 1; i > m_cmdIdx; --i) {
        if (m_cmdStack[i]->m_type == TMaskCmd::DrawSetValue) {
            m_cmdIdx = i - 1;
            break;
        }
    }
    if (m_cmdIdx < 0) fillMask(255);
    DotWeights weights;
    Shown last;
    while (m_cmdIdx < n - 1) {
        const TMaskCmd& cmd = *m_cmdStack[m_cmdIdx + 1];
        if (cmd.m_type != TMaskCmd::DrawStrokeDot) show(last);
        switch (cmd.m_type) {
            case TMaskCmd::DrawSetValue: fillMask(cmd.m_param_p->m_value); break;
            case TMaskCmd::DrawInvert:
                invertMask();
                m_dirty = true;
                break;
            case TMaskCmd::DrawStrokeStart: m_firstDot = true; break;
            case TMaskCmd::DrawStrokeDot:
                replayDot(m_firstDot, *cmd.m_param_p, last, weights);
                m_firstDot = false;
                m_dirty = true;
                break;
            case TMaskCmd::DrawStrokeEnd: break;
        }
        ++m_cmdIdx;
    }
    show(last);
    m_rebuildPending = false;
}

void TDrawMask::replayDot(bool first, const TMaskParam& param, Shown& last, DotWeights& weights) {
    const cv::Rect part = shownPart(m_mask.size(), {param.m_x, param.m_y}, param.m_outerR);
    // Before the coverage changes, which this dot does not show everywhere.
    showBut(first ? cv::Rect() : part, last);
    try {
        coverStrokeDot(first, param, weights);
    } catch (...) {
        show(last);
        throw;
    }
    last = {param.m_value, param.m_opacity, part};
}

void TDrawMask::show(Shown& dot) {
    renderPart(dot.value, dot.opacity, dot.part);
    dot.part = cv::Rect();
}

void TDrawMask::showBut(const cv::Rect& hidden, Shown& dot) {
    const cv::Rect &part = dot.part, left = part & hidden;
    if (left.empty()) return show(dot);
    const int right = left.br().x, bottom = left.br().y;
    for (const cv::Rect& beside : {cv::Rect(part.x, part.y, part.width, left.y - part.y),
                                   cv::Rect(part.x, bottom, part.width, part.br().y - bottom),
                                   cv::Rect(part.x, left.y, left.x - part.x, left.height),
                                   cv::Rect(right, left.y, part.br().x - right, left.height)})
        renderPart(dot.value, dot.opacity, beside);
    dot.part = left;
}
