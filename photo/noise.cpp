#include "photo/noise.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace kestrova::photo {

namespace {

constexpr int kZones = 16;

/// The noise of each zone, NaN where too few cells are in it.
std::vector<float> quietest(const cv::Mat& energy, const cv::Mat& level) {
    std::vector<std::vector<float>> cells(kZones);
    for (int y = 0; y < energy.rows; ++y) {
        const auto* e = energy.ptr<float>(y);
        const auto* l = level.ptr<float>(y);
        for (int x = 0; x < energy.cols; ++x)
            cells[std::clamp(static_cast<int>(l[x] * kZones), 0, kZones - 1)].push_back(e[x]);
    }
    constexpr std::size_t kFewest = 40;
    // Cells of noise alone scatter by some 5 percent; their lowest tenth lies that much below the mean.
    constexpr float kLowestTenthOfMean = 0.94f;
    std::vector<float> out(kZones, NAN);
    for (int z = 0; z < kZones; ++z) {
        if (cells[z].size() < kFewest) continue;
        const auto tenth = cells[z].begin() + static_cast<std::ptrdiff_t>(cells[z].size() / 10);
        std::nth_element(cells[z].begin(), tenth, cells[z].end());
        out[z] = std::sqrt(*tenth) / kLowestTenthOfMean;
    }
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

/// Where `energy` is more than noise.
cv::Mat measure(const cv::Mat& energy, const cv::Mat& level, int scale, int sourceBits) {
    constexpr float kTexture = 1.2f, kAllTexture = 1.6f;
    // Cameras go up to some 5 of 255 at pixel size; what is left of that at larger scales is less.
    constexpr float kMost[] = {0.025f, 0.010f, 0.006f};
    // The steps of 8 bits are noise, too: without it smooth gradients would become stairs.
    const float least = sourceBits > 8 || scale > 0 ? 1e-5f : 1.0f / 255 / std::sqrt(12.0f);

    const cv::Mat even = blurred(energy);
    std::vector<float> zones = quietest(even, level);
    fillGaps(zones);
    for (float& zone : zones) zone = std::clamp(zone, least, kMost[scale]);

    cv::Mat out(energy.size(), CV_32FC1);
    for (int y = 0; y < energy.rows; ++y) {
        const auto* e = even.ptr<float>(y);
        const auto* l = level.ptr<float>(y);
        auto* t = out.ptr<float>(y);
        for (int x = 0; x < energy.cols; ++x) {
            const float noise = noiseAt(zones, l[x]);
            const float way = std::clamp((std::sqrt(e[x]) / noise - kTexture) / (kAllTexture - kTexture), 0.0f, 1.0f);
            t[x] = way * way * (3 - 2 * way);
        }
    }
    return out;
}

}  // namespace

cv::Mat measureTexture(const CellEnergies& cells, int scale, int sourceBits) {
    const cv::Mat detailed = measure(cells.detail, cells.level, scale, sourceBits);
    if (cells.bends.empty()) return detailed;
    return cv::max(detailed, measure(cells.bends, cells.level, scale, sourceBits));
}

}  // namespace kestrova::photo
