#include "photo/noise.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <vector>

namespace kestrova::photo {

namespace {

constexpr int kZones = 16;
constexpr std::size_t kFewest = 40;  // cells that can speak for a zone

int zoneOf(float level) { return std::clamp(static_cast<int>(level * kZones), 0, kZones - 1); }

/// The lowest tenth.
float lowOf(std::vector<float>& values) {
    const auto tenth = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 10);
    std::nth_element(values.begin(), tenth, values.end());
    return *tenth;
}

/// The square of the share of the way from the middle of `size` cells to a corner.
class SquaredWay {
public:
    explicit SquaredWay(cv::Size size)
        : m_x(0.5f * static_cast<float>(size.width)),
          m_y(0.5f * static_cast<float>(size.height)),
          m_scale(1 / (m_x * m_x + m_y * m_y)) {}
    float at(int x, int y) const {
        const float dx = static_cast<float>(x) + 0.5f - m_x, dy = static_cast<float>(y) + 0.5f - m_y;
        return (dx * dx + dy * dy) * m_scale;
    }

private:
    float m_x, m_y, m_scale;
};

/// Each value put together with those within `reach` of it, along rows and then along columns.
template <class Combine>
cv::Mat gathered(const cv::Mat& in, int reach, Combine combine) {
    cv::Mat across(in.size(), CV_32FC1), out(in.size(), CV_32FC1);
    std::vector<float> row(static_cast<std::size_t>(in.cols + 2 * reach));
    for (int y = 0; y < in.rows; ++y) {
        const auto* middle = in.ptr<float>(y);
        std::fill(row.begin(), row.begin() + reach, middle[0]);
        std::copy(middle, middle + in.cols, row.begin() + reach);
        std::fill(row.end() - reach, row.end(), middle[in.cols - 1]);
        auto* o = across.ptr<float>(y);
        std::copy(row.begin(), row.begin() + in.cols, o);
        for (int k = 1; k <= 2 * reach; ++k)
            for (int x = 0; x < in.cols; ++x) o[x] = combine(o[x], row[x + k]);
    }
    for (int y = 0; y < in.rows; ++y) {
        auto* o = out.ptr<float>(y);
        across.row(std::max(0, y - reach)).copyTo(out.row(y));
        for (int k = 1 - reach; k <= reach; ++k) {
            const auto* row = across.ptr<float>(std::clamp(y + k, 0, in.rows - 1));
            for (int x = 0; x < in.cols; ++x) o[x] = combine(o[x], row[x]);
        }
    }
    return out;
}

float lower(float a, float b) { return std::min(a, b); }
float higher(float a, float b) { return std::max(a, b); }

/// The noise of each zone, as what it is in the middle of the picture; NaN where too few cells are in it.
std::vector<float> quietest(const cv::Mat& strength, const cv::Mat& level, float falloff) {
    const SquaredWay way(strength.size());
    std::vector<std::vector<float>> cells(kZones);
    for (int y = 0; y < strength.rows; ++y) {
        const auto* s = strength.ptr<float>(y);
        const auto* l = level.ptr<float>(y);
        for (int x = 0; x < strength.cols; ++x) cells[zoneOf(l[x])].push_back(s[x] / (1 + falloff * way.at(x, y)));
    }
    // Cells of noise alone scatter by some 5 percent; their lowest tenth lies that much below the mean.
    constexpr float kLowestTenthOfMean = 0.94f;
    std::vector<float> out(kZones, NAN);
    for (int z = 0; z < kZones; ++z)
        if (cells[z].size() >= kFewest) out[z] = lowOf(cells[z]) / kLowestTenthOfMean;
    return out;
}

/// Zones without a value take that of the nearest zone which has one, 0 if none has.
void fillGaps(std::vector<float>& zones) {
    const std::vector<float> known = zones;
    for (int z = 0; z < kZones; ++z) {
        float found = 0;
        for (int distance = kZones - 1; distance >= 0; --distance)
            for (int other : {z - distance, z + distance})
                if (other >= 0 && other < kZones && !std::isnan(known[other])) found = known[other];
        zones[z] = found;
    }
}

float noiseAt(const std::vector<float>& zones, float level) {
    const float place = std::clamp(level * kZones - 0.5f, 0.0f, kZones - 1.0f);
    const int low = std::min(static_cast<int>(place), kZones - 2);
    return zones[low] + (place - static_cast<float>(low)) * (zones[low + 1] - zones[low]);
}

/// Each cell becomes the mean of the 3 x 3 around it, with weights 1 2 1 either way.
cv::Mat blurred(const cv::Mat& cells) {
    cv::Mat across(cells.size(), CV_32FC1), out(cells.size(), CV_32FC1);
    for (int y = 0; y < cells.rows; ++y) {
        const auto* in = cells.ptr<float>(y);
        auto* o = across.ptr<float>(y);
        for (int x = 0; x < cells.cols; ++x)
            o[x] = 0.25f * (in[std::max(0, x - 1)] + 2 * in[x] + in[std::min(cells.cols - 1, x + 1)]);
    }
    for (int y = 0; y < cells.rows; ++y) {
        const auto* a = across.ptr<float>(std::max(0, y - 1));
        const auto* b = across.ptr<float>(y);
        const auto* c = across.ptr<float>(std::min(cells.rows - 1, y + 1));
        auto* o = out.ptr<float>(y);
        for (int x = 0; x < cells.cols; ++x) o[x] = 0.25f * (a[x] + 2 * b[x] + c[x]);
    }
    return out;
}

/// The square roots of energies, which are evened out first.
cv::Mat strengthOf(const cv::Mat& energy) {
    cv::Mat out = blurred(energy);
    for (int y = 0; y < out.rows; ++y) {
        auto* o = out.ptr<float>(y);
        for (int x = 0; x < out.cols; ++x) o[x] = std::sqrt(o[x]);
    }
    return out;
}

/// The noise of the zones from the strength of detail or of bends.
std::vector<float> noiseOf(const cv::Mat& strength, const cv::Mat& level, float falloff, int scale, int sourceBits) {
    // Cameras go up to some 5 of 255 at pixel size; what is left of that at larger scales is less.
    constexpr float kMost[] = {0.025f, 0.010f, 0.004f};
    // The steps of 8 bits are noise, too: without it smooth gradients would become stairs.
    const float least = sourceBits > 8 || scale > 0 ? 1e-5f : 1.0f / 255 / std::sqrt(12.0f);
    std::vector<float> zones = quietest(strength, level, falloff);
    fillGaps(zones);
    for (float& zone : zones) zone = std::clamp(zone, least, kMost[scale]);
    return zones;
}

/// A filter leaves d = s a^2 / (s^2 + a^2) of noise of the strength s as detail, a being its amplitude. Noise bends by
/// as much as it is strong if it has no grain, otherwise by less: what bends more is texture that fills the picture.
float mostBends(float detail, float amplitude) {
    const float root = std::sqrt(std::max(0.0f, amplitude * amplitude - 4 * detail * detail));
    return 1.15f * amplitude * (amplitude - root) / (2 * detail);
}

/// How many times the noise each cell's strength is.
cv::Mat ratiosTo(const std::vector<float>& zones, const cv::Mat& strength, const cv::Mat& level, float falloff) {
    const SquaredWay way(strength.size());
    cv::Mat out(strength.size(), CV_32FC1);
    for (int y = 0; y < out.rows; ++y) {
        const auto* s = strength.ptr<float>(y);
        const auto* l = level.ptr<float>(y);
        auto* o = out.ptr<float>(y);
        for (int x = 0; x < out.cols; ++x) o[x] = s[x] / (noiseAt(zones, l[x]) * (1 + falloff * way.at(x, y)));
    }
    return out;
}

/// From 0 where a ratio is `none` to 1 where it is `all`, smoothly.
float ramp(float ratio, float none, float all) {
    const float way = std::clamp((ratio - none) / (all - none), 0.0f, 1.0f);
    return way * way * (3 - 2 * way);
}

cv::Mat ramps(const cv::Mat& ratios, float none, float all) {
    cv::Mat out(ratios.size(), CV_32FC1);
    for (int y = 0; y < out.rows; ++y) {
        const auto* in = ratios.ptr<float>(y);
        auto* o = out.ptr<float>(y);
        for (int x = 0; x < out.cols; ++x) o[x] = ramp(in[x], none, all);
    }
    return out;
}

cv::Mat textureOf(const cv::Mat& ratios, int scale) {
    // Cells of the larger scales hold many grains each and are large enough to stand alone.
    constexpr struct { float none, all; } kAlone[] = {{2.2f, 3.0f}, {1.4f, 2.0f}, {1.4f, 2.0f}};
    const auto alone = kAlone[scale];
    constexpr int kReach = 3;
    constexpr float kShare = 1.0f / ((2 * kReach + 1) * (2 * kReach + 1));
    // Opened: one or two cells in a row are no texture.
    const cv::Mat clear = gathered(gathered(ramps(ratios, 1.6f, 2.1f), 1, lower), 1, higher);
    const cv::Mat around = gathered(clear, kReach, std::plus<float>());
    cv::Mat out(ratios.size(), CV_32FC1);
    for (int y = 0; y < out.rows; ++y) {
        const auto *in = ratios.ptr<float>(y), *a = around.ptr<float>(y);
        auto* o = out.ptr<float>(y);
        for (int x = 0; x < out.cols; ++x) {
            const float amongTexture = ramp(kShare * a[x], 0.1f, 0.45f) * ramp(in[x], 1.2f, 1.6f);
            o[x] = std::max(ramp(in[x], alone.none, alone.all), amongTexture);
        }
    }
    return out;
}

}  // namespace

float measureFalloff(const CellEnergies& cells) {
    constexpr int kRings = 4;
    const cv::Mat strength = strengthOf(cells.detail);
    const SquaredWay way(strength.size());
    struct Ring {
        std::vector<float> strengths;
        double ways = 0;
        float low = 0, way = 0;
    };
    std::vector<Ring> rings(kZones * kRings);
    for (int y = 0; y < strength.rows; ++y) {
        const auto *s = strength.ptr<float>(y), *l = cells.level.ptr<float>(y);
        for (int x = 0; x < strength.cols; ++x) {
            const float at = way.at(x, y);
            Ring& ring = rings[zoneOf(l[x]) * kRings + static_cast<int>(at * kRings)];
            ring.strengths.push_back(s[x]);
            ring.ways += static_cast<double>(at);
        }
    }
    for (Ring& ring : rings) {
        if (ring.strengths.size() < kFewest) continue;
        ring.low = lowOf(ring.strengths);
        ring.way = static_cast<float>(ring.ways / static_cast<double>(ring.strengths.size()));
    }

    // Each two rings of a zone ask for a falloff of their own. The median of them counts, weighted by the cells.
    struct Vote {
        float falloff;
        std::size_t weight;
    };
    std::vector<Vote> votes;
    std::size_t weights = 0;
    for (int z = 1; z < kZones - 1; ++z)
        for (int o = 1; o < kRings; ++o)
            for (int i = 0; i < o; ++i) {
                const Ring &inner = rings[z * kRings + i], &outer = rings[z * kRings + o];
                if (inner.low <= 0 || outer.low <= 0) continue;  // too few cells, or a surface without noise
                const float slope = inner.low * outer.way - outer.low * inner.way;
                const std::size_t weight = std::min(inner.strengths.size(), outer.strengths.size());
                votes.push_back({slope > 0 ? std::clamp((outer.low - inner.low) / slope, 0.0f, 1.0f) : 1.0f, weight});
                weights += weight;
            }
    std::sort(votes.begin(), votes.end(), [](const Vote& a, const Vote& b) { return a.falloff < b.falloff; });
    std::size_t passed = 0;
    for (const Vote& vote : votes) {
        passed += vote.weight;
        if (2 * passed >= weights) return vote.falloff;
    }
    return 0;
}

cv::Mat measureTexture(const CellEnergies& cells, float falloff, int scale, int sourceBits) {
    const cv::Mat detail = strengthOf(cells.detail);
    const std::vector<float> noise = noiseOf(detail, cells.level, falloff, scale, sourceBits);
    cv::Mat ratios = ratiosTo(noise, detail, cells.level, falloff);
    if (!cells.bends.empty()) {
        const cv::Mat bends = strengthOf(cells.bends);
        std::vector<float> most = noiseOf(bends, cells.level, falloff, scale, sourceBits);
        for (int z = 0; z < kZones; ++z) most[z] = std::min(most[z], mostBends(noise[z], cells.amplitude));
        ratios = cv::max(ratios, ratiosTo(most, bends, cells.level, falloff));
    }
    return textureOf(ratios, scale);
}

}  // namespace kestrova::photo
