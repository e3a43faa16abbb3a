#include <lcms2.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "photo/error.h"
#include "photo/kernel.h"
#include "photo/profile.h"
#include "photo/profile_data.h"
#include "photo/rows.h"

namespace kestrova::photo {

namespace {

constexpr int kBlock = 256;

// Light at or below `darkest` counts as it, light beyond white as white.
inline float bounded(float light, float darkest) { return light > darkest ? (light < 1.0f ? light : 1.0f) : darkest; }

inline std::uint32_t bitsOf(float light) {
    std::uint32_t bits;
    std::memcpy(&bits, &light, sizeof bits);
    return bits;
}

inline float ofBits(std::uint32_t bits) {
    float light;
    std::memcpy(&light, &bits, sizeof light);
    return light;
}

// How tables are read by light from 2^-powers to 1: by the bits of the float, so that each power of two has as many
// entries, 2^(23 - shift).
constexpr std::uint32_t bitsOfPower(int powers) { return (127u - static_cast<unsigned>(powers)) << 23; }

// Codes of 16 bits: each power from 2^-40 (below a quarter of a code of any curve in use) on has 512 entries, between
// which is interpolated: exact to 1/30 of a code.
constexpr int kShift = 14, kPowers = 40, kEntries = kPowers << (23 - kShift);
constexpr float kDarkest = 0x1p-40f;

KESTROVA_PHOTO_KERNEL void codeRow(const float* light, const float* codes, ushort* out, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const std::uint32_t bits = bitsOf(bounded(light[x], kDarkest)) - bitsOfPower(kPowers);
        const float* entry = codes + (bits >> kShift);
        const float share = static_cast<float>(bits & ((1u << kShift) - 1)) * (1.0f / (1u << kShift));
        out[x] = static_cast<ushort>(static_cast<int>(entry[0] + share * (entry[1] - entry[0]) + 0.5f));
    }
}

// Codes of 8 bits: cells so narrow that a code ends in each at most once.
constexpr int kShift8 = 16, kPowers8 = 24, kCells = kPowers8 << (23 - kShift8);
constexpr float kDarkest8 = 0x1p-24f;
struct Cell {
    float next;  ///< the light from which on `code` is one more
    int code;
};

KESTROVA_PHOTO_KERNEL void code8Row(const float* light, const Cell* cells, uchar* out, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const float l = bounded(light[x], kDarkest8);
        const Cell& cell = cells[(bitsOf(l) - bitsOfPower(kPowers8)) >> kShift8];
        out[x] = static_cast<uchar>(cell.code + (l >= cell.next));
    }
}

KESTROVA_PHOTO_KERNEL void lightRow(const ushort* channel, const float* table, float* light, int n) noexcept {
    for (int x = 0; x < n; ++x) light[x] = table[channel[4 * x]];
}

KESTROVA_PHOTO_KERNEL void mixRow(const float* m, float* r, float* g, float* b, int n) noexcept {
    const float m0 = m[0], m1 = m[1], m2 = m[2], m3 = m[3], m4 = m[4], m5 = m[5], m6 = m[6], m7 = m[7], m8 = m[8];
    for (int x = 0; x < n; ++x) {
        const float red = r[x], green = g[x], blue = b[x];
        r[x] = m0 * red + m1 * green + m2 * blue;
        g[x] = m3 * red + m4 * green + m5 * blue;
        b[x] = m6 * red + m7 * green + m8 * blue;
    }
}

KESTROVA_PHOTO_KERNEL void packRow(const ushort* r, const ushort* g, const ushort* b, const ushort* in, ushort* out,
                                   int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const ushort alpha = in[4 * x + 3];
        out[4 * x] = b[x];
        out[4 * x + 1] = g[x];
        out[4 * x + 2] = r[x];
        out[4 * x + 3] = alpha;
    }
}

inline uchar rounded8(ushort value) { return static_cast<uchar>((value + 128u) / 257u); }

KESTROVA_PHOTO_KERNEL void pack8Row(const uchar* r, const uchar* g, const uchar* b, const ushort* in, uchar* out,
                                    int n) noexcept {
    for (int x = 0; x < n; ++x) {
        out[4 * x] = b[x];
        out[4 * x + 1] = g[x];
        out[4 * x + 2] = r[x];
        out[4 * x + 3] = rounded8(in[4 * x + 3]);
    }
}

KESTROVA_PHOTO_KERNEL void to8Row(const ushort* in, uchar* out, int n) noexcept {
    for (int i = 0; i < n; ++i) out[i] = rounded8(in[i]);
}

// The inverse of a tone curve: codes for light.
class InverseTone {
public:
    explicit InverseTone(const ToneTable& curve) : m_codes(kEntries + 2) {
        for (int i = 0; i <= kEntries; ++i) m_codes[i] = static_cast<float>(code(curve, lightAt(i)));
        m_codes[0] = 0;
        m_codes[kEntries + 1] = m_codes[kEntries];  // read at white, with a share of 0
        makeCells();
    }

    const float* codes() const { return m_codes.data(); }
    // Null where the curve is too steep for cells.
    const Cell* cells() const { return m_cells.empty() ? nullptr : m_cells.data(); }

private:
    static double lightAt(int entry) {
        return double(ofBits(bitsOfPower(kPowers) + (static_cast<std::uint32_t>(entry) << kShift)));
    }

    static double code(const ToneTable& curve, double light) {
        const auto above = std::lower_bound(curve.begin(), curve.end(), light);
        if (above == curve.end()) return double(curve.size() - 1);
        if (above == curve.begin()) return 0;
        const double step = *above - above[-1];
        return double(above - curve.begin()) - (*above - light) / step;
    }

    int code8(std::uint32_t bits) const {
        const float light = ofBits(bits);
        ushort code;
        codeRow(&light, m_codes.data(), &code, 1);
        return rounded8(code);
    }

    // What the codes of 16 bits round to, found where they change.
    void makeCells() {
        constexpr std::uint32_t kWhite = bitsOfPower(0);
        std::uint32_t start = bitsOfPower(kPowers8);
        if (code8(start) != 0) return;
        std::vector<Cell> cells(kCells + 1);
        for (int i = 0; i <= kCells; ++i, start += 1u << kShift8) {
            const std::uint32_t last = std::min(start + (1u << kShift8) - 1, kWhite);
            cells[i].code = code8(start);
            const int end = code8(last);
            if (end > cells[i].code + 1) return;
            std::uint32_t below = start, above = end == cells[i].code ? kWhite + 1 : last;
            while (end != cells[i].code && above - below > 1) {
                const std::uint32_t middle = below + (above - below) / 2;
                (code8(middle) == cells[i].code ? below : above) = middle;
            }
            cells[i].next = ofBits(above);
        }
        m_cells = std::move(cells);
    }

    std::vector<float> m_codes;
    std::vector<Cell> m_cells;
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

    // At most kBlock pixels.
    void mix(const ushort* in, float (*mixed)[kBlock], int n) const noexcept {
        for (int c = 0; c < 3; ++c) lightRow(in + 2 - c, light[c]->data(), mixed[c], n);
        mixRow(matrix.data(), mixed[0], mixed[1], mixed[2], n);
    }

    void row(const ushort* in, ushort* out, int width) const noexcept {
        float mixed[3][kBlock];
        ushort codes[3][kBlock];
        for (int start = 0; start < width; start += kBlock) {
            const int n = std::min(kBlock, width - start);
            mix(in + 4 * start, mixed, n);
            for (int c = 0; c < 3; ++c) codeRow(mixed[c], code[c]->codes(), codes[c], n);
            packRow(codes[0], codes[1], codes[2], in + 4 * start, out + 4 * start, n);
        }
    }

    bool hasCells() const { return code[0]->cells() && code[1]->cells() && code[2]->cells(); }

    void rowTo8(const ushort* in, uchar* out, int width) const noexcept {
        float mixed[3][kBlock];
        uchar codes[3][kBlock];
        for (int start = 0; start < width; start += kBlock) {
            const int n = std::min(kBlock, width - start);
            mix(in + 4 * start, mixed, n);
            for (int c = 0; c < 3; ++c) code8Row(mixed[c], code[c]->cells(), codes[c], n);
            pack8Row(codes[0], codes[1], codes[2], in + 4 * start, out + 4 * start, n);
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

    void rowTo8(const ushort* in, uchar* out, int width) const noexcept {
        if (shaper && shaper->hasCells()) return shaper->rowTo8(in, out, width);
        if (!shaper && !table) return to8Row(in, out, 4 * width);
        ushort block[4 * kBlock];
        for (int start = 0; start < width; start += kBlock) {
            const int n = std::min(kBlock, width - start);
            row(in + 4 * start, block, n);
            to8Row(block, out + 4 * start, 4 * n);
        }
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
    shareRows(source.rows, threads,
              [&](int r) { m_data->rowTo8(source.ptr<ushort>(r), out.ptr<uchar>(r), source.cols); });
}

}  // namespace kestrova::photo
