#include <lcms2.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "photo/error.h"
#include "photo/profile.h"
#include "photo/profile_data.h"
#include "photo/rows.h"

namespace kestrova::photo {

namespace {

// The inverse of a tone curve: codes for light, read by the bits of the float. Each power of two from 2^-40 (below a
// quarter of a code of any curve in use) to 1 has 512 entries, between which is interpolated: exact to 1/30 of a code.
class InverseTone {
public:
    explicit InverseTone(const ToneTable& curve) : m_codes(kEntries + 1) {
        for (int i = 0; i <= kEntries; ++i) m_codes[i] = static_cast<float>(code(curve, lightAt(i)));
        m_codes[0] = 0;
    }

    ushort operator()(float light) const {
        const float bounded = light > kDarkest ? (light < 1.0f ? light : 1.0f) : kDarkest;
        std::uint32_t bits;
        std::memcpy(&bits, &bounded, sizeof bits);
        bits -= kDarkestBits;
        const std::uint32_t entry = bits >> kShift;
        const float share = static_cast<float>(bits & ((1u << kShift) - 1)) * (1.0f / (1u << kShift));
        const float left = m_codes[entry];
        return static_cast<ushort>(left + share * (m_codes[entry + (share > 0)] - left) + 0.5f);
    }

private:
    static constexpr int kShift = 14;
    static constexpr int kPowers = 40;
    static constexpr int kEntries = kPowers << (23 - kShift);
    static constexpr float kDarkest = 0x1p-40f;
    static constexpr std::uint32_t kDarkestBits = (127u - kPowers) << 23;

    static double lightAt(int entry) {
        const std::uint32_t bits = kDarkestBits + (static_cast<std::uint32_t>(entry) << kShift);
        float light;
        std::memcpy(&light, &bits, sizeof light);
        return double(light);
    }

    static double code(const ToneTable& curve, double light) {
        const auto above = std::lower_bound(curve.begin(), curve.end(), light);
        if (above == curve.end()) return double(curve.size() - 1);
        if (above == curve.begin()) return 0;
        const double step = *above - above[-1];
        return double(above - curve.begin()) - (*above - light) / step;
    }

    std::vector<float> m_codes;
};

std::array<double, 9> inverse(const std::array<double, 9>& m) {
    const auto cofactor = [&](int r, int c) {
        const int r1 = (r + 1) % 3, r2 = (r + 2) % 3, c1 = (c + 1) % 3, c2 = (c + 2) % 3;
        return m[r1 * 3 + c1] * m[r2 * 3 + c2] - m[r1 * 3 + c2] * m[r2 * 3 + c1];
    };
    const double determinant = m[0] * cofactor(0, 0) + m[1] * cofactor(0, 1) + m[2] * cofactor(0, 2);
    std::array<double, 9> result;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) result[r * 3 + c] = cofactor(c, r) / determinant;
    return result;
}

// Light of one RGB space to light of another. Profiles round their colorants, so white may come out 1/65536 beside
// white: rows that add up to nearly 1 are made to do so exactly, and greys stay grey.
std::array<float, 9> lightMatrix(const MatrixShaper& from, const MatrixShaper& to) {
    const std::array<double, 9> back = inverse(to.toXyz);
    std::array<float, 9> result;
    for (int r = 0; r < 3; ++r) {
        double row[3] = {};
        for (int c = 0; c < 3; ++c)
            for (int k = 0; k < 3; ++k) row[c] += back[r * 3 + k] * from.toXyz[k * 3 + c];
        const double sum = row[0] + row[1] + row[2];
        const double scale = std::abs(sum - 1) < 5e-4 ? 1 / sum : 1;
        for (int c = 0; c < 3; ++c) result[r * 3 + c] = static_cast<float>(row[c] * scale);
    }
    return result;
}

// Pixels from matrix profile to matrix profile.
struct ShaperTransform {
    ShaperTransform(const MatrixShaper& from, const MatrixShaper& to) : matrix(lightMatrix(from, to)) {
        for (int c = 0; c < 3; ++c) {
            for (int before = 0; before < c; ++before) {
                if (from.curves[before] == from.curves[c]) light[c] = light[before];
                if (to.curves[before] == to.curves[c]) code[c] = code[before];
            }
            if (!light[c])
                light[c] = std::make_shared<std::vector<float>>(from.curves[c]->begin(), from.curves[c]->end());
            if (!code[c]) code[c] = std::make_shared<InverseTone>(*to.curves[c]);
        }
    }

    void row(const ushort* in, ushort* out, int width) const noexcept {
        const float *lightR = light[0]->data(), *lightG = light[1]->data(), *lightB = light[2]->data();
        const InverseTone &codeR = *code[0], &codeG = *code[1], &codeB = *code[2];
        const std::array<float, 9> m = matrix;
        for (int x = 0; x < width; ++x, in += 4, out += 4) {
            const float b = lightB[in[0]], g = lightG[in[1]], r = lightR[in[2]];
            const ushort alpha = in[3];
            out[0] = codeB(m[6] * r + m[7] * g + m[8] * b);
            out[1] = codeG(m[3] * r + m[4] * g + m[5] * b);
            out[2] = codeR(m[0] * r + m[1] * g + m[2] * b);
            out[3] = alpha;
        }
    }

    std::shared_ptr<std::vector<float>> light[3];
    std::shared_ptr<InverseTone> code[3];
    std::array<float, 9> matrix;
};

struct DeleteTransform {
    void operator()(void* transform) const { cmsDeleteTransform(transform); }
};

cmsUInt32Number lcmsIntent(Intent intent) {
    switch (intent) {
        case Intent::perceptual: return INTENT_PERCEPTUAL;
        case Intent::relativeColorimetric: return INTENT_RELATIVE_COLORIMETRIC;
        case Intent::saturation: return INTENT_SATURATION;
        case Intent::absoluteColorimetric: return INTENT_ABSOLUTE_COLORIMETRIC;
    }
    return INTENT_RELATIVE_COLORIMETRIC;
}

// Any other pair, by lcms2 in float: its 16-bit way resamples tables to 33 steps.
struct TableTransform {
    TableTransform(const Profile& from, const Profile& to, Intent intent, bool blackPoint) {
        const ProfileHandle source = from.data().open(), target = to.data().open();
        const cmsUInt32Number flags =
            cmsFLAGS_NOCACHE | cmsFLAGS_NOOPTIMIZE | (blackPoint ? cmsFLAGS_BLACKPOINTCOMPENSATION : 0);
        const auto format = FLOAT_SH(1) | COLORSPACE_SH(PT_RGB) | CHANNELS_SH(3) | BYTES_SH(4);
        if (source && target)
            transform.reset(cmsCreateTransform(source.get(), format, target.get(), format, lcmsIntent(intent), flags));
        if (!transform)
            throw Error(Error::Kind::input,
                        "the profile \"" + from.name() + "\" cannot be converted to \"" + to.name() + "\"");
    }

    void row(const ushort* in, ushort* out, int width) const noexcept {
        constexpr int kBlock = 256;
        float pixels[3 * kBlock];
        for (int start = 0; start < width; start += kBlock) {
            const int n = std::min(kBlock, width - start);
            const ushort* from = in + 4 * start;
            for (int x = 0; x < n; ++x)
                for (int c = 0; c < 3; ++c) pixels[3 * x + c] = float(from[4 * x + 2 - c]) / 65535.0f;
            cmsDoTransform(transform.get(), pixels, pixels, static_cast<cmsUInt32Number>(n));
            ushort* to = out + 4 * start;
            for (int x = 0; x < n; ++x) {
                for (int c = 0; c < 3; ++c) {
                    const float code = pixels[3 * x + 2 - c] * 65535.0f + 0.5f;
                    to[4 * x + c] = static_cast<ushort>(code > 0 ? std::min(code, 65535.0f) : 0.0f);
                }
                to[4 * x + 3] = from[4 * x + 3];
            }
        }
    }

    std::unique_ptr<void, DeleteTransform> transform;
};

ushort rounded8(ushort value) { return static_cast<ushort>((value + 128) / 257); }

}  // namespace

// Neither part stands where both profiles are of one space: pixels are then copied.
struct ColourTransform::Data {
    std::unique_ptr<const ShaperTransform> shaper;
    std::unique_ptr<const TableTransform> table;

    void row(const ushort* in, ushort* out, int width) const noexcept {
        if (shaper) return shaper->row(in, out, width);
        if (table) return table->row(in, out, width);
        if (in != out) std::memcpy(out, in, sizeof(ushort) * 4 * width);
    }
};

ColourTransform::ColourTransform(const Profile& from, const Profile& to, Intent intent, bool blackPoint) {
    if (from.channels() != 3 || to.channels() != 3)
        throw Error(Error::Kind::programming, "colour transforms are made between RGB profiles");
    auto data = std::make_shared<Data>();
    if (from != to) {
        const MatrixShaper *source = from.data().shaper(), *target = to.data().shaper();
        if (source && target && intent != Intent::absoluteColorimetric)
            data->shaper = std::make_unique<ShaperTransform>(*source, *target);
        else
            data->table = std::make_unique<TableTransform>(from, to, intent, blackPoint);
    }
    m_data = data;
}

void ColourTransform::apply(const cv::Mat& in, cv::Mat& out, int threads) const {
    CV_Assert(in.type() == CV_16UC4);
    const cv::Mat source = in;  // stays when `out` is the same object
    out.create(source.size(), CV_16UC4);
    shareRows(source.rows, threads,
              [&](int r) { m_data->row(source.ptr<ushort>(r), out.ptr<ushort>(r), source.cols); });
}

void ColourTransform::applyTo8(const cv::Mat& in, cv::Mat& out, int threads) const {
    CV_Assert(in.type() == CV_16UC4);
    const cv::Mat source = in;
    out.create(source.size(), CV_8UC4);
    shareRows(source.rows, threads, [&](int r) {
        constexpr int kBlock = 256;
        ushort block[4 * kBlock];
        const ushort* from = source.ptr<ushort>(r);
        uchar* to = out.ptr<uchar>(r);
        for (int start = 0; start < source.cols; start += kBlock) {
            const int n = std::min(kBlock, source.cols - start);
            m_data->row(from + 4 * start, block, n);
            for (int i = 0; i < 4 * n; ++i) to[4 * start + i] = static_cast<uchar>(rounded8(block[i]));
        }
    });
}

}  // namespace kestrova::photo
