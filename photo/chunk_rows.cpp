#include "photo/chunk_rows.h"

#include "photo/kernel.h"
#include "photo/zero.h"

namespace kestrova::photo {

namespace {

inline float least(float a, float b) { return a < b ? a : b; }
inline float most(float a, float b) { return a > b ? a : b; }

}  // namespace

KESTROVA_PHOTO_KERNEL void takeApartRow(const ushort* Y, const ushort* small, const ModelRows& models, ushort* medium,
                                        ushort* large, int n) noexcept {
    const float* ma = models.mediumSlope;
    const float* mb = models.mediumOffset;
    const float* la = models.largeSlope;
    const float* lb = models.largeOffset;
    for (int x = 0; x < n; ++x) {
        const int rest = Y[x] - 2 * (small[x] - kZero);
        const int smooth = rounded(ma[x] * static_cast<float>(rest) + mb[x] * 65535.0f, 65535.0f);
        const int half = (rest - smooth) / 2;
        const int rest2 = rest - 2 * half;
        const int smooth2 = rounded(la[x] * static_cast<float>(rest2) + lb[x] * 65535.0f, 65535.0f);
        medium[x] = static_cast<ushort>(half + kZero);
        large[x] = static_cast<ushort>((rest2 - smooth2) / 2 + kZero);
    }
}

KESTROVA_PHOTO_KERNEL void splitRow(const ushort* Y, const ushort* const detail[3], const uchar* const texture[3],
                                    const Share share[3], ushort* const out[3], ushort* base, int n) noexcept {
    for (int x = 0; x < n; ++x) base[x] = Y[x];
    for (int s = 0; s < 3; ++s) {
        const ushort* d = detail[s];
        const uchar* t = texture[s];
        ushort* o = out[s];
        const Share f = share[s];
        for (int x = 0; x < n; ++x) {
            const float y = static_cast<float>(Y[x]) * (1.0f / 65535);
            const float shadows = most(0.0f, 1 - 3 * y), highlights = most(0.0f, 3 * y - 2);
            const float midtones = 1 - shadows - highlights;
            const int whole = d[x] - kZero;
            const float noise = static_cast<float>(whole) * (static_cast<float>(255 - t[x]) * (1.0f / 255));
            const float kept = noise * (shadows * f.kept[0] + midtones * f.kept[1] + highlights * f.kept[2]);
            const float moved = noise * (shadows * f.moved[0] + midtones * f.moved[1] + highlights * f.moved[2]);
            const int toEngine = rounded(static_cast<float>(whole + kZero) - noise + kept, 65535.0f) - kZero;
            const int toBase = rounded(moved + static_cast<float>(kZero), 65535.0f) - kZero;
            o[x] = static_cast<ushort>(toEngine + kZero);
            const int b = base[x] - 2 * (whole - toBase);
            base[x] = static_cast<ushort>(b < 0 ? 0 : b > 65535 ? 65535 : b);
        }
    }
}

KESTROVA_PHOTO_KERNEL void composeRow(const ushort* bgra, const ChangedRow& row, ushort* out, int n) noexcept {
    const ushort *Y = row.Y, *Y1 = row.Y1, *dr = row.dr, *db = row.db, *dr1 = row.dr1, *db1 = row.db1;
    for (int x = 0; x < n; ++x) {
        const auto dY = static_cast<float>(Y1[x] - Y[x]);
        const auto red = static_cast<float>(2 * (dr1[x] - dr[x])), blue = static_cast<float>(2 * (db1[x] - db[x]));
        float b = static_cast<float>(bgra[4 * x]) + dY + blue;
        float g = static_cast<float>(bgra[4 * x + 1]) + dY - (0.299f * red + 0.114f * blue) * (1 / 0.587f);
        float r = static_cast<float>(bgra[4 * x + 2]) + dY + red;
        const float low = least(least(r, g), b), high = most(most(r, g), b);
        const float y = least(65535.0f, most(0.0f, 0.299f * r + 0.587f * g + 0.114f * b));
        const float above = high > 65535.0f ? (65535.0f - y) / (high - y) : 1.0f;
        const float below = low < 0.0f ? y / (y - low) : 1.0f;
        const float share = least(above, below);
        b = share < 1.0f ? y + share * (b - y) : b;
        g = share < 1.0f ? y + share * (g - y) : g;
        r = share < 1.0f ? y + share * (r - y) : r;
        out[4 * x] = rounded16(b);
        out[4 * x + 1] = rounded16(g);
        out[4 * x + 2] = rounded16(r);
        out[4 * x + 3] = bgra[4 * x + 3];
    }
}

KESTROVA_PHOTO_KERNEL void blendRow(const ushort* layer, const uchar* mask, ushort* out, int n) noexcept {
    for (int x = 0; x < n; ++x) {
        const float share = static_cast<float>(mask[x]) * (1.0f / 255);
        for (int c = 0; c < 3; ++c) {
            const auto from = static_cast<float>(out[4 * x + c]), to = static_cast<float>(layer[4 * x + c]);
            out[4 * x + c] = rounded16(from + share * (to - from));
        }
    }
}

void addUpRow(const ushort* row, std::uint32_t* sums, int n, int step, int channels) noexcept {
    for (int x = 0; x < n; ++x)
        for (int k = 0; k < step; ++k, row += channels)
            for (int c = 0; c < channels; ++c) sums[x * channels + c] += row[c];
}

KESTROVA_PHOTO_KERNEL void meanRow(const std::uint32_t* sums, ushort* out, int n, int pixels) noexcept {
    const auto half = static_cast<std::uint32_t>(pixels) / 2, all = static_cast<std::uint32_t>(pixels);
    for (int x = 0; x < n; ++x) out[x] = static_cast<ushort>((sums[x] + half) / all);
}

}  // namespace kestrova::photo
