#pragma once

#include <algorithm>
#include <cmath>

#include "kestrova/detail/tcoloradjvl.h"
#include "tests/support/planes.h"
#include "tests/support/printed.h"

/// Rounded to nearest, ties to even, then clamped to 16 bits, in the plain.
inline ushort naiveSat16(double v) { return static_cast<ushort>(std::clamp(std::nearbyint(v), 0.0, 65535.0)); }

/// Rebuilds the tables without the time line.
inline void rebuildQuietly(TColorAdjVL& adjust) {
    printed([&] { adjust.computeLUT16U(); });
}

inline void setParameters(TColorAdjVL& adjust, float temperature, float tint, float saturation, float vibrance) {
    adjust.m_temperature = temperature;
    adjust.m_tint = tint;
    adjust.m_saturation = saturation;
    adjust.m_vibrance = vibrance;
    adjust.m_bChanged = true;
}

inline bool sameTables(const TColorAdjVL& a, const TColorAdjVL& b) {
    return std::equal(a.m_lutDr, a.m_lutDr + 35937, b.m_lutDr) && std::equal(a.m_lutDb, a.m_lutDb + 35937, b.m_lutDb);
}

/// `proc` without the time line.
inline bool procQuietly(TColorAdjVL& adjust, const cv::Mat& y0, const cv::Mat& y1, const cv::Mat& drIn,
                        const cv::Mat& dbIn, cv::Mat& drOut, cv::Mat& dbOut) {
    bool result = false;
    printed([&] { result = adjust.proc(y0, y1, drIn, dbIn, drOut, dbOut); });
    return result;
}

/// Four planes of unrelated values, as `proc` takes them.
struct ColourPlanes {
    cv::Mat y0, y1, dr, db;
    explicit ColourPlanes(cv::Size size)
        : y0(randomPlane(size.height, size.width, CV_16UC1, 1)),
          y1(randomPlane(size.height, size.width, CV_16UC1, 2)),
          dr(randomPlane(size.height, size.width, CV_16UC1, 3)),
          db(randomPlane(size.height, size.width, CV_16UC1, 4)) {}
};
