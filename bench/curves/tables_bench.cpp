#include <cmath>
#include <memory>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "bench/support/bench.h"
#include "kestrova/curves/detail_curves.h"
#include "kestrova/curves/table_smoothing.h"
#include "kestrova/curves/tlut1d.h"
#include "kestrova/curves/tspline.h"
#include "tests/support/rooms.h"

namespace {

constexpr std::size_t kTableBytes = 131072;

// A detail plane: small differences around the middle, larger ones here and there, as edges are.
cv::Mat detailPlane(const BenchSize& size, int type) {
    const bool bWide = type == CV_16UC1;
    cv::Mat plane(size.rows, size.cols, type);
    unsigned noise = 1;
    for (int y = 0; y < size.rows; ++y) {
        for (int x = 0; x < size.cols; ++x) {
            noise = noise * 1664525u + 1013904223u;
            const double small = (static_cast<double>(noise >> 16) - 32768.0) / 40,
                         edge = std::sin(x / 40.0 + y / 90.0);
            const double value = 32768 + small + 12000 * edge * edge * edge;
            if (bWide)
                plane.at<ushort>(y, x) = static_cast<ushort>(value);
            else
                plane.at<uchar>(y, x) = static_cast<uchar>(value / 256);
        }
    }
    return plane;
}

// The nine curves of three scales, all of them with a step or a dead zone.
std::vector<DetailCurve> nineCurves() {
    std::vector<DetailCurve> curves;
    for (int i = 0; i < 9; ++i) {
        const float v = static_cast<float>(i);
        curves.push_back({0.1f * v, i % 2 ? -0.05f * v : 0.07f * (v + 1), 0, 0, 0, 5, 9830 - 400 * i, 0.35f});
    }
    return curves;
}

void buildRow(const std::string& name, const std::vector<DetailCurve>& curves) {
    benchRow(name, 2 * kTableBytes * curves.size(), [=] {
        return [=] {
            const DetailCurves built(curves);
            benchmark::DoNotOptimize(built[0]);
        };
    });
}

void applyRow(const std::string& name, const BenchSize& size, int inType, int outType) {
    const std::size_t pixels = std::size_t(size.cols) * std::size_t(size.rows);
    const std::size_t bytes = pixels * std::size_t(CV_ELEM_SIZE(inType) + CV_ELEM_SIZE(outType));
    benchRow("TLut1D::apply " + name + "/" + size.name, bytes, [=] {
        auto lut = std::make_shared<TLut1D>(inType, outType);
        const int entries = inType == CV_8UC1 ? 256 : 65536;
        for (int i = 0; i < entries; ++i) {
            if (outType == CV_8UC1)
                lut->lut8U()[i] = static_cast<uchar>(255 - i);
            else
                lut->lut16U()[i] = static_cast<ushort>(65535 - i);
        }
        const cv::Mat in = detailPlane(size, inType), out(size.rows, size.cols, outType, cv::Scalar(0));
        return [=] { lut->apply(in, out); };
    });
}

void peerRow(const std::string& name, const BenchSize& size, int outType) {
    const std::size_t pixels = std::size_t(size.cols) * std::size_t(size.rows);
    benchRow("cv::LUT " + name + "/" + size.name, pixels * std::size_t(1 + CV_ELEM_SIZE(outType)), [=] {
        const cv::Mat in = detailPlane(size, CV_8UC1), table(1, 256, outType, cv::Scalar(7));
        cv::Mat out(size.rows, size.cols, outType, cv::Scalar(0));
        return [=]() mutable { cv::LUT(in, table, out); };
    });
}

KESTROVA_BENCH(tables) {
    for (const BenchSize& size : kBenchSizes) {
        applyRow("8 to 8", size, CV_8UC1, CV_8UC1);
        peerRow("8 to 8", size, CV_8UC1);
        applyRow("8 to 16", size, CV_8UC1, CV_16UC1);
        peerRow("8 to 16", size, CV_16UC1);
        applyRow("16 to 16", size, CV_16UC1, CV_16UC1);
        applyRow("16 to 8", size, CV_16UC1, CV_8UC1);
    }

    const std::vector<DetailCurve> nine = nineCurves();
    buildRow("DetailCurves of 1", {nine.begin(), nine.begin() + 1});
    buildRow("DetailCurves of 3", {nine.begin(), nine.begin() + 3});
    buildRow("DetailCurves of 9", nine);
    benchRow("TLut16U::setupLinearThreshold", 2 * kTableBytes, [] {
        auto lut = std::make_shared<TLut16U>();
        return [=] { lut->setupLinearThreshold(0.3f, 0.2f, 0, 0); };
    });
    benchRow("TLut16U::setupLinearThreshold without smoothing", 2 * kTableBytes, [] {
        auto lut = std::make_shared<TLut16U>();
        return [=] { lut->setupLinearThreshold(0.3f, 0, 0, 0); };
    });
    benchRow("TLut16U::setupLightAdjust", 2 * kTableBytes, [] {
        auto lut = std::make_shared<TLut16U>();
        return [=] { lut->setupLightAdjust(0.1f, 0.2f, 0.3f, -0.4f); };
    });
    benchRow("TLut8U::setupLinearThreshold", 512, [] {
        auto lut = std::make_shared<TLut8U>();
        return [=] { lut->setupLinearThreshold(0.3f, 0.5f, 0, 0); };
    });
    benchRow("gaussSmooth1D of 65536", 4 * kTableBytes, [] {
        auto data = std::make_shared<std::vector<float>>(65536, 1000.0f);
        return [=] { gaussSmooth1D(data->data(), 65536, 700.0f, 2); };
    });
    benchRow("TSpline of 5 points, 64 values", 256, [] {
        return [] {
            TSpline spline(5);
            spline.update();
            for (int i = 0; i < 64; ++i) benchmark::DoNotOptimize(spline.value(static_cast<float>(i) / 63.0f));
        };
    });
}

}  // namespace
