#include "kestrova/filters/free_filters.h"

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "kestrova/frame/failure.h"
#include "kestrova/frame/kernel.h"
#include "kestrova/frame/memory_failure.h"
#include "kestrova/frame/overlap.h"
#include "kestrova/frame/parallel.h"
#include "kestrova/frame/plane_checks.h"
#include "kestrova/frame/saturate.h"
#include "kestrova/frame/unit_scale.h"

using namespace kestrova::frame;

namespace {

// The low bits of trunc(v), of which an `int` beyond its range, as well as NaN, has none.
template <class Element>
Element lowBits(float v) {
    const bool inRange = v > -0x1p31f && v < 0x1p31f;
    return static_cast<Element>(static_cast<int>(inRange ? v : 0.0f));
}

template <class Element>
KESTROVA_KERNEL void blendRow(const Element* in0, const Element* in1, const uchar* alpha, Element* out, int n,
                              float perAlpha) noexcept {
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) {
        const float w = static_cast<float>(alpha[x]) * perAlpha;
        const float mix = (1.0f - w) * static_cast<float>(in0[x]) + w * static_cast<float>(in1[x]);
        if constexpr (std::is_same_v<Element, float>)
            out[x] = mix;
        else
            out[x] = lowBits<Element>(mix);
    }
}

template <class Element>
void blend(const cv::Mat& in0, const cv::Mat& in1, const cv::Mat& alpha, cv::Mat& out, float perAlpha) {
    parallelRows(out.rows, out.cols, [&](int y) noexcept {
        blendRow(in0.ptr<Element>(y), in1.ptr<Element>(y), alpha.ptr(y), out.ptr<Element>(y), out.cols, perAlpha);
    });
}

KESTROVA_KERNEL void scaleRow(const uchar* src, uchar* dst, int n, float k) noexcept {
    KESTROVA_INDEPENDENT
    for (int x = 0; x < n; ++x) dst[x] = sat8(static_cast<float>(src[x]) * k);
}

ushort lowest(ushort a, ushort b, ushort c) {
    const ushort lower = b < a ? b : a;
    return c < lower ? c : lower;
}
ushort highest(ushort a, ushort b, ushort c) {
    const ushort higher = a < b ? b : a;
    return higher < c ? c : higher;
}

// out[x] for 0 < x < n - 1.
KESTROVA_KERNEL void sharpenRow(const ushort* __restrict above, const ushort* __restrict centre,
                                const ushort* __restrict below, ushort* __restrict out, int n) noexcept {
    for (int x = 1; x < n - 1; ++x) {
        const ushort lo =
            lowest(lowest(above[x - 1], above[x], above[x + 1]), lowest(centre[x - 1], centre[x], centre[x + 1]),
                   lowest(below[x - 1], below[x], below[x + 1]));
        const ushort hi =
            highest(highest(above[x - 1], above[x], above[x + 1]), highest(centre[x - 1], centre[x], centre[x + 1]),
                    highest(below[x - 1], below[x], below[x + 1]));
        const ushort v = centre[x];
        out[x] = static_cast<ushort>(hi - v) < static_cast<ushort>(v - lo) ? hi : lo;
    }
}

}  // namespace

void blendAlpha(const cv::Mat& in0, const cv::Mat& in1, const cv::Mat& alpha, cv::Mat& out, float k) {
    checkPlanes(in0, in1, alpha);
    if (in0.type() != in1.type()) fail("ERROR - blendAlpha - in0.type()!=in1.type()");
    if (in0.size() != in1.size()) fail("ERROR - blendAlpha - in0.size() !=in1.size()");
    const int type = in0.type();
    if (type != CV_8UC1 && type != CV_16UC1 && type != CV_32FC1) fail("ERROR - blendAlpha - in0 type");
    if (alpha.type() != CV_8UC1) fail("ERROR - blendAlpha - alpha.type()!=CV_8UC1");
    if (alpha.rows < in0.rows || alpha.cols < in0.cols) fail("ERROR - blendAlpha - alpha.size()<in0.size()");

    orFailWithoutMemory("ERROR - blendAlpha - not enough memory", [&] {
        cv::Mat plane = outputLike(out, in0.size(), type);
        const auto sourceOf = [&](const cv::Mat& in) { return sourceBeside(plane, in, StillRead::kThatPixel); };
        const cv::Mat from0 = sourceOf(in0), from1 = sourceOf(in1), under = sourceOf(alpha);
        const float perAlpha = k * kPer255;
        switch (type) {
            case CV_8UC1: blend<uchar>(from0, from1, under, plane, perAlpha); break;
            case CV_16UC1: blend<ushort>(from0, from1, under, plane, perAlpha); break;
            default: blend<float>(from0, from1, under, plane, perAlpha);
        }
        out = plane;
    });
}

void blendC(const uchar* src, int srcStep, uchar* dst, int dstStep, int width, int height, float k) {
    if (width < 1 || height < 1) return;
    if (!src || !dst) fail("ERROR - blendC - !src || !dst");
    parallelRows(height, width, [&](int y) noexcept {
        scaleRow(src + static_cast<std::ptrdiff_t>(srcStep) * y, dst + static_cast<std::ptrdiff_t>(dstStep) * y, width,
                 k);
    });
}

void extremeSharpen(const cv::Mat& in, cv::Mat& out) {
    checkPlane(in);
    if (in.type() != CV_16UC1) fail("ERROR - extremeSharpen - in.type()!=CV_16UC1");
    orFailWithoutMemory("ERROR - extremeSharpen - not enough memory", [&] {
        cv::Mat plane = outputLike(out, in.size(), CV_16UC1);
        const cv::Mat from = sourceBeside(plane, in, StillRead::kAnyRow);
        const int right = from.cols - 1, bottom = from.rows - 1;
        parallelRows(from.rows, from.cols, [&](int y) noexcept {
            const ushort* const centre = from.ptr<ushort>(y);
            ushort* const to = plane.ptr<ushort>(y);
            if (y == 0 || y == bottom) {
                std::memcpy(to, centre, from.cols * sizeof(ushort));
                return;
            }
            to[0] = centre[0];
            sharpenRow(from.ptr<ushort>(y - 1), centre, from.ptr<ushort>(y + 1), to, from.cols);
            to[right] = centre[right];
        });
        out = plane;
    });
}
