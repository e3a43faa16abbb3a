#pragma once

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <sstream>
#include <string>

#include "kestrova/curves/tlut1d.h"
#include "kestrova/detail/tlightadjlutvl.h"
#include "kestrova/detail/tvelline.h"
#include "kestrova/image/tpimage.h"

/// The rendering of `TVelline` as it is defined: one step after the other, whole planes, one pixel at a time.

struct ZoneTables {
    std::array<int, 256> S, M, H;
};

inline const ZoneTables& zoneTables() {
    static const ZoneTables tables = [] {
        ZoneTables t;
        for (int i = 0; i < 256; ++i) t.S[i] = i <= 7 ? 256 - 3 * i : i <= 84 ? 255 - 3 * i : 0;
        for (int i = 0; i < 171; ++i) t.M[i] = i <= 77 ? 3 * i : i <= 84 ? 3 * i + 1 : 256;
        for (int i = 171; i < 256; ++i) t.M[i] = t.M[255 - i];
        for (int i = 0; i < 171; ++i) t.H[i] = 0;
        for (int i = 171; i < 256; ++i) t.H[i] = t.S[255 - i];
        return t;
    }();
    return tables;
}

inline void referenceMixSMH(const cv::Mat& y, const cv::Mat& s, const cv::Mat& m, cv::Mat& h) {
    const ZoneTables& t = zoneTables();
    for (int r = 0; r < h.rows; ++r) {
        for (int x = 0; x < h.cols; ++x) {
            const int i = y.at<ushort>(r, x) >> 8;
            int v = (s.at<ushort>(r, x) - 32768) * t.S[i] + (m.at<ushort>(r, x) - 32768) * t.M[i] +
                    (h.at<ushort>(r, x) - 32768) * t.H[i];
            v = v / 256 + 32768;
            h.at<ushort>(r, x) = static_cast<ushort>(std::clamp(v, 0, 65535));
        }
    }
}

inline void referenceAddEdges(const cv::Mat& d0, const cv::Mat& d1, const cv::Mat& d2, cv::Mat& y) {
    for (int r = 0; r < y.rows; ++r) {
        for (int x = 0; x < y.cols; ++x) {
            const int sum = d0.at<ushort>(r, x) + d1.at<ushort>(r, x) + d2.at<ushort>(r, x) - 98304;
            y.at<ushort>(r, x) = static_cast<ushort>(std::clamp(y.at<ushort>(r, x) + 2 * sum, 0, 65535));
        }
    }
}

inline void referenceModYWithC(const cv::Mat& dr, const cv::Mat& db, float a, float b, float c, cv::Mat& y) {
    const float a25 = 2.5f * a, b25 = 2.5f * b, c25 = 2.5f * c;
    const bool bBytes = dr.type() == CV_8UC1;
    const float kr = bBytes ? (a25 - b25) * 256.0f : a25 - b25;
    const float kb = bBytes ? (c25 - b25) * 256.0f : c25 - b25;
    const float k0 =
        bBytes ? (256.0f * b25 - 128.0f * a25 - 128.0f * c25) * 256.0f : (2.0f * b25 - a25 - c25) * 32768.0f;
    for (int r = 0; r < y.rows; ++r) {
        for (int x = 0; x < y.cols; ++x) {
            const float red = bBytes ? dr.at<uchar>(r, x) : dr.at<ushort>(r, x);
            const float blue = bBytes ? db.at<uchar>(r, x) : db.at<ushort>(r, x);
            const float v = (blue * kb + red * kr) + k0 + static_cast<float>(y.at<ushort>(r, x));
            y.at<ushort>(r, x) = static_cast<ushort>(std::clamp(std::nearbyint(v), 0.0f, 65535.0f));
        }
    }
}

/// Runs beside a `TVelline` whose fields it has copied: caches and flags by the letter of each step.
struct ReferenceEngine {
    float k[9], t[9], light[6], mix[3];
    bool bChangedS, bChangedM, bChangedL, bChangedY, bRoiChanged;
    cv::Mat Y, DS, DM, DL, Dr, Db;
    cv::Rect roi;
    int level, maxPlainLevel;
    cv::Mat rY, rDS, rDM, rDL, roiY;
    std::string printed;

    /// The host's side: parameters, flags and the picture.
    void takeFields(const TVelline& engine) {
        std::copy_n(engine.m_k, 9, k);
        std::copy_n(engine.m_t, 9, t);
        std::copy_n(engine.m_light, 6, light);
        std::copy_n(engine.m_mix, 3, mix);
        bChangedS = engine.m_bChangedS;
        bChangedM = engine.m_bChangedM;
        bChangedL = engine.m_bChangedL;
        bChangedY = engine.m_bChangedY;
        bRoiChanged = engine.m_bRoiChanged;
        Y = engine.m_Y, DS = engine.m_DS, DM = engine.m_DM, DL = engine.m_DL, Dr = engine.m_Dr, Db = engine.m_Db;
        roi = engine.m_roi;
        level = engine.m_level;
        maxPlainLevel = engine.m_maxPlainLevel;
    }

    cv::Mat sampled(const cv::Mat& full, bool bSmooth) const {
        return TPImage::MatRoi(full, roi.x, roi.y, roi.width, roi.height, level, false, bSmooth);
    }

    bool isZero(float v) const { return std::fabs(v) < 0.01f; }

    void renderScale(int s, cv::Mat& cache) {
        if (!isZero(k[3 * s + 1]) || !isZero(t[3 * s + 1]) || !isZero(k[3 * s + 2]) || !isZero(t[3 * s + 2]) ||
            !isZero(k[3 * s]) || !isZero(t[3 * s])) {
            const float kMax[] = {5.0f, 4.0f, 3.5f};
            const int threshold[] = {9830, 8191, 7372};
            TLut16U lut(0, 6.0f, 8191, 0.35f);
            lut.setKRange(0, kMax[s], threshold[s], 0.35f);
            cv::Mat P = cache.clone();
            lut.setupLinearThreshold(k[3 * s + 1], t[3 * s + 1], k[3 * s], t[3 * s]);
            lut.apply(P);
            cv::Mat Q = cache.clone();
            lut.setupLinearThreshold(k[3 * s + 2], t[3 * s + 2], k[3 * s], t[3 * s]);
            lut.apply(Q);
            lut.setupLinearThreshold(k[3 * s], t[3 * s], 0, 0);
            lut.apply(cache);
            referenceMixSMH(rY, P, Q, cache);
        }
    }

    void proc(cv::Rect newRoi, int newLevel, cv::Mat extra) {
        if (newRoi != roi || newLevel != level) {
            bRoiChanged = true;
            roi = newRoi;
            level = newLevel;
        }
        if (bRoiChanged || bChangedY) {
            rY = sampled(Y, false);
            if (std::fabs(mix[0]) >= 0.01f || std::fabs(mix[1]) >= 0.01f || std::fabs(mix[2]) >= 0.01f)
                referenceModYWithC(sampled(Dr, false), sampled(Db, false), mix[0], mix[1], mix[2], rY);
            TLightAdjLUTvl lut;
            lut.setupCurve(light[0], light[1], light[2], light[3], light[4], light[5]);
            lut.proc(rY, true);
        }
        std::ostringstream line;
        line << "tvelline -- proc ------- rYE16U size: " << extra.rows << "X" << extra.cols
             << "  m_rDS size: " << rDS.rows << "X" << rDS.cols << "\n";
        printed = line.str();
        if (extra.rows == rDS.rows && extra.cols == rDS.cols) bChangedS = true;
        const bool bAll = bRoiChanged || bChangedY, bSmooth = level > maxPlainLevel;
        if (bAll || bChangedS) {
            rDS = sampled(DS, bSmooth);
            if (extra.rows == rDS.rows && extra.cols == rDS.cols) {
                cv::Mat sum;
                cv::addWeighted(rDS, 1.0, extra, 1.0, -32768.0, sum, rDS.type());
                rDS = sum;
            }
            renderScale(0, rDS);
        }
        if (bAll || bChangedM) {
            rDM = sampled(DM, bSmooth);
            renderScale(1, rDM);
        }
        if (bAll || bChangedL) {
            rDL = sampled(DL, bSmooth);
            renderScale(2, rDL);
        }
        if (bRoiChanged || bChangedS || bChangedM || bChangedL || bChangedY) {
            rY.copyTo(roiY);
            referenceAddEdges(rDS, rDM, rDL, roiY);
        }
        bRoiChanged = bChangedS = bChangedM = bChangedL = bChangedY = false;
    }
};
