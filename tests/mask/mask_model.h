#pragma once

#include <opencv2/core.hpp>

#include <vector>

/// The mask as its documentation tells it, one pixel and one command at a time: what `TDrawMask` is held against.
/// Commands are replayed from the very first each time, and every dot builds its distance plane.
class MaskModel {
public:
    MaskModel(const cv::Mat& y, const cv::Mat& dr, const cv::Mat& db, const cv::Mat& mask)
        : m_y(y), m_dr(dr), m_db(db), m_base(mask.clone()), m_mask(mask.clone()) {}

    struct Command {
        enum Kind { Fill, Invert, Start, Dot, End } kind;
        int value = 0, x = 0, y = 0, outerR = 0, innerR = 0;
        float opacity = 0, tolerance = 0;
    };

    void add(const Command& command) {
        m_commands.push_back(command);
        m_pending = true;
    }
    void undo();
    void reset();
    void proc();
    const cv::Mat& mask() const { return m_mask; }
    const std::vector<Command>& commands() const { return m_commands; }

private:
    void drawDot(const Command& dot);
    static std::vector<float> profileOf(int outerR, int innerR);

    cv::Mat m_y, m_dr, m_db, m_base, m_mask, m_stroke, m_start;
    std::vector<Command> m_commands;
    std::size_t m_done = 0;
    bool m_pending = false, m_first = false;
};
