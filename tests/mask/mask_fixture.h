#pragma once

#include <gtest/gtest.h>

#include "kestrova/mask/tdrawmask.h"

constexpr int kCols = 61, kRows = 47;

/// A picture whose planes are soft ramps with an edge, so that a colour tolerance has something to stop at.
struct Planes {
    cv::Mat y = cv::Mat(kRows, kCols, CV_8UC1), dr = cv::Mat(kRows, kCols, CV_16UC1), db = dr.clone();
    Planes() {
        for (int r = 0; r < kRows; ++r) {
            for (int c = 0; c < kCols; ++c) {
                y.at<uchar>(r, c) = static_cast<uchar>(c < 30 ? 40 + c : 180 + r);
                dr.at<ushort>(r, c) = static_cast<ushort>(32768 + 60 * c + 11 * r);
                db.at<ushort>(r, c) = static_cast<ushort>(c < 30 ? 32000 : 36000);
            }
        }
    }
};

/// A mask bound to those planes, full as it then is.
class MaskTest : public testing::Test {
protected:
    MaskTest() { mask.setInImage(planes.y, planes.dr, planes.db); }

    void stroke(int x, int y, int radius, uchar value = 0) {
        mask.drawStart(0, 1.0f);
        mask.drawADot(cv::Point(x, y), value, radius);
        mask.drawEnd();
    }
    cv::Mat filled(uchar value) const { return cv::Mat(kRows, kCols, CV_8UC1, cv::Scalar(value)); }

    Planes planes;
    TDrawMask mask;
};
