#include "tests/mask/mask_model.h"

#include <cmath>
#include <opencv2/imgproc.hpp>

namespace {

uchar rounded(double v) { return static_cast<uchar>(std::fmin(std::fmax(std::nearbyint(v), 0.0), 255.0)); }

cv::Mat distancePlane(int r) {
    cv::Mat dx(2 * r + 1, 2 * r + 1, CV_32FC1), distance;
    for (int y = 0; y <= 2 * r; ++y)
        for (int x = 0; x <= 2 * r; ++x) dx.at<float>(y, x) = static_cast<float>(std::abs(x - r));
    cv::magnitude(dx, dx.t(), distance);
    return distance;
}

}  // namespace

std::vector<float> MaskModel::profileOf(int outerR, int innerR) {
    std::vector<float> profile(8000, 0.0f);
    for (int i = 0; i < innerR; ++i) profile[i] = 1.0f;
    const float e = std::exp(-2.0f);
    for (int i = innerR; i < outerR; ++i) {
        const float t = static_cast<float>(i - innerR) / static_cast<float>(outerR - innerR);
        profile[i] = (std::exp(-2 * t * t) - e) * (1 / (1 - e));
    }
    return profile;
}

void MaskModel::drawDot(const Command& dot) {
    if (m_first) {
        m_stroke = cv::Mat(m_mask.size(), CV_8UC1, cv::Scalar(0));
        m_start = m_mask.clone();
    }
    const int r = dot.outerR;
    const cv::Mat distance = distancePlane(r);
    const bool soft = dot.tolerance >= 0.05f || dot.outerR != dot.innerR;
    const std::vector<float> profile = profileOf(dot.outerR, dot.innerR);
    const cv::Point p(dot.x, dot.y);
    const float unit8 = 0.003921569f, unit16 = 1.5259022e-05f;
    for (int py = 0; py <= 2 * r; ++py) {
        for (int px = 0; px <= 2 * r; ++px) {
            const int y = p.y - r + py, x = p.x - r + px;
            if (y < 0 || x < 0 || y >= m_mask.rows || x >= m_mask.cols) continue;
            uchar& covered = m_stroke.at<uchar>(y, x);
            const float d = distance.at<float>(py, px);
            if (!soft) {
                if (d <= static_cast<float>(r)) covered = 255;
                continue;
            }
            const float w = profile[static_cast<int>(d + 0.5f)];
            if (dot.tolerance > 0) {
                const int cy = std::min(std::max(p.y, 0), m_mask.rows - 1),
                          cx = std::min(std::max(p.x, 0), m_mask.cols - 1);
                const double dY =
                    std::fabs(double(m_y.at<uchar>(y, x) * unit8) - double(m_y.at<uchar>(cy, cx) * unit8));
                const double dDr =
                    std::fabs(double(m_dr.at<ushort>(y, x) * unit16) - double(m_dr.at<ushort>(cy, cx) * unit16));
                const double dDb =
                    std::fabs(double(m_db.at<ushort>(y, x) * unit16) - double(m_db.at<ushort>(cy, cx) * unit16));
                const float s = (float)dY * (dot.tolerance * 0.5f * 3) + (float)(dDr + dDb) * (dot.tolerance * 6);
                float q = (float)((double)s / ((double)w + 0.1));
                if (q > 1) q = 1;
                const float a = w * (1 - (3 - 2 * q) * q * q);
                covered = static_cast<uchar>((1 - a) * covered + a * 255);
            } else {
                covered = rounded(static_cast<double>(1 - w) * covered + static_cast<double>(w) * 255);
            }
        }
    }
    const float scale = dot.opacity * unit8;
    for (int y = std::max(p.y - r, 0); y < std::min(p.y + r, m_mask.rows); ++y) {
        for (int x = std::max(p.x - r, 0); x < std::min(p.x + r, m_mask.cols); ++x) {
            const float w = m_stroke.at<uchar>(y, x) * scale;
            m_mask.at<uchar>(y, x) = rounded((1 - w) * m_start.at<uchar>(y, x) + static_cast<float>(dot.value) * w);
        }
    }
}

void MaskModel::undo() {
    const Command::Kind top = m_commands.back().kind;
    if (top == Command::Fill || top == Command::Invert) {
        m_commands.pop_back();
    } else if (top == Command::End) {
        while (m_commands.back().kind != Command::Start) m_commands.pop_back();
        m_commands.pop_back();
    }
    m_done = 0;
    m_pending = true;
}

void MaskModel::reset() {
    m_commands.clear();
    m_mask = m_base.clone();
    m_done = 0;
    m_pending = false;
}

void MaskModel::proc() {
    if (!m_pending) return;
    if (m_done == 0) m_mask.setTo(255);
    for (; m_done < m_commands.size(); ++m_done) {
        const Command& command = m_commands[m_done];
        switch (command.kind) {
            case Command::Fill: m_mask.setTo(command.value); break;
            case Command::Invert: cv::bitwise_not(m_mask, m_mask); break;
            case Command::Start: m_first = true; break;
            case Command::Dot:
                drawDot(command);
                m_first = false;
                break;
            case Command::End: break;
        }
    }
    m_pending = false;
}
