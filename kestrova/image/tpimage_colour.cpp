#include <algorithm>

#include "kestrova/frame/saturate.h"
#include "kestrova/frame/unit_scale.h"
#include "kestrova/frame/zero16.h"
#include "kestrova/image/tpimage.h"
#include "kestrova/image/ydrdb.h"

using namespace kestrova::frame;
using namespace kestrova::image;

using namespace kestrova::image::ydrdb;

namespace {

constexpr float kRedRange = 0x1.66e978p-1f;      // 0.701, the greatest R - Y
constexpr float kBlueRange = 0x1.c5a1cap-1f;     // 0.886, the greatest B - Y
constexpr float kRedRangeInv = 0x1.6d314ep+0f;   // 1 / 0.701
constexpr float kBlueRangeInv = 0x1.20f066p+0f;  // 1 / 0.886

// Into 0..1 along the line to the least component, or, where that is below 0, along the line to the greatest. A
// colour that is out at both ends thus keeps its greatest component above 1.
void intoGamut(float& r, float& g, float& b) {
    const float low = std::min({r, g, b}), high = std::max({r, g, b});
    const double span = static_cast<double>(high - low) + 1e-7;
    const auto compress = [&](float scale, float fixed) {
        for (float* c : {&r, &g, &b}) *c = (*c - fixed) * scale + fixed;
    };
    if (low >= 0.0f) {
        if (high <= 1.0f) return;
        if (low >= 1.0f)
            r = g = b = 1.0f;
        else
            compress(static_cast<float>(static_cast<double>(1.0f - low) / span), low);
    } else if (high > 0.0f) {
        compress(static_cast<float>(static_cast<double>(high) / span), high);
    } else {
        r = g = b = 0.0f;
    }
}

void toU8V8(float yf, float r, float b, unsigned char& u, unsigned char& v) {
    u = sat8((r - yf) * 128.0f * kRedRangeInv + 128.0f);
    v = sat8((b - yf) * 128.0f * kBlueRangeInv + 128.0f);
}

void withGreen(float yf, float r, float b, float& g) { g = (yf - r * kRed - b * kBlue) * kGreenBackFloatExact; }

void fromU8V8(float yf, unsigned char u, unsigned char v, float& r, float& g, float& b) {
    r = (static_cast<float>(u) - 128.0f) * 0x1p-7f * kRedRange + yf;
    b = (static_cast<float>(v) - 128.0f) * 0x1p-7f * kBlueRange + yf;
    withGreen(yf, r, b, g);
}

}  // namespace

void TPImage::RGB2YdRdB(float r, float g, float b, unsigned short& y, unsigned short& dr, unsigned short& db) {
    const float red = r * 65535.0f, green = g * 65535.0f, blue = b * 65535.0f;
    const float v = green * kGreen + red * kRed + blue * kBlue;
    y = sat16(v);
    dr = sat16((red - v) * 0.5f + kZero16);
    db = sat16((blue - v) * 0.5f + kZero16);
}

void TPImage::YdRdB2RGB(unsigned short y, unsigned short dr, unsigned short db, float& r, float& g, float& b) {
    const float yf = y;
    const float red = (static_cast<float>(dr) - kZero16) * 2.0f + yf;
    const float blue = (static_cast<float>(db) - kZero16) * 2.0f + yf;
    const float t = yf - red * kRed - blue * kBlue;
    r = static_cast<float>(sat16(red)) * kPer65535;
    g = static_cast<float>(sat16(static_cast<double>(t) * kGreenBack)) * kPer65535;
    b = static_cast<float>(sat16(blue)) * kPer65535;
}

void TPImage::RGB2YUV(float r, float g, float b, unsigned char& y, unsigned char& u, unsigned char& v) {
    intoGamut(r, g, b);
    const float yf = luminance(r, g, b);
    y = sat8(yf * 255.0f);
    toU8V8(yf, r, b, u, v);
}

void TPImage::RGB2YUV(float r, float g, float b, unsigned short& y, unsigned short& u, unsigned short& v) {
    intoGamut(r, g, b);
    const float yf = luminance(r, g, b);
    y = sat16(yf * 65535.0f);
    u = sat16(((r - yf) * 0.5f + 1.0f) * kZero16);
    v = sat16(((b - yf) * 0.5f + 1.0f) * kZero16);
}

void TPImage::RGB2YUV(float r, float g, float b, unsigned short& y, unsigned char& u, unsigned char& v) {
    intoGamut(r, g, b);
    const float yf = luminance(r, g, b);
    y = sat16(yf * 65535.0f);
    toU8V8(yf, r, b, u, v);
}

void TPImage::YUV2RGB(unsigned char y, unsigned char u, unsigned char v, float& r, float& g, float& b) {
    fromU8V8(static_cast<float>(y) * kPer255, u, v, r, g, b);
}

void TPImage::YUV2RGB(unsigned short y, unsigned char u, unsigned char v, float& r, float& g, float& b) {
    fromU8V8(static_cast<float>(y) * kPer65535, u, v, r, g, b);
}

void TPImage::YUV2RGB(unsigned short y, unsigned short u, unsigned short v, float& r, float& g, float& b) {
    const float yf = static_cast<float>(y) * kPer65535;
    r = (static_cast<float>(u) - kZero16) * 2.0f * 0x1p-15f + yf;
    b = (static_cast<float>(v) - kZero16) * 2.0f * 0x1p-15f + yf;
    withGreen(yf, r, b, g);
}
