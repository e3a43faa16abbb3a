#include "photo/colour_table.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "photo/zero.h"

namespace kestrova::photo {

namespace {

constexpr int kNodes = 33, kAll = kNodes * kNodes * kNodes;

float smoothStep(float from, float to, float v) {
    const float t = std::clamp((v - from) / (to - from), 0.0f, 1.0f);
    return t * t * (3 - 2 * t);
}

/// Chroma at every node of the table, as offsets from neutral.
struct Nodes {
    std::vector<float> dr = std::vector<float>(kAll), db = std::vector<float>(kAll);
};

/// 1 in the middle of the tones, 0 at black and at white.
float fade(int yNode) {
    const float y = static_cast<float>(yNode) / (kNodes - 1);
    return smoothStep(0, 0.2f, y) * (1 - smoothStep(0.85f, 1, y));
}

/// A table of the core's for one parameter.
class CoreTable : public TColorAdjVL {
public:
    CoreTable(float temperature, float tint) : TColorAdjVL(0.25f, 0.6f, 0.2f, kTintScale) {
        m_temperature = temperature;
        m_tint = tint;
        m_saturation = m_vibrance = 0;
        m_bChanged = true;
        computeLUT16U();
    }

    float dr(int node) const { return static_cast<float>(m_lutDr[node]); }
    float db(int node) const { return static_cast<float>(m_lutDb[node]); }

private:
    static constexpr float kTintScale = 0.45f;
};

/// Adds `share` of what a core table does beyond the neutral one.
void shift(Nodes& nodes, const CoreTable& table, const CoreTable& neutral, float share) {
    for (int i = 0; i < kAll; ++i) {
        const float weight = share * fade(i / (kNodes * kNodes));
        nodes.dr[i] += weight * (table.dr(i) - neutral.dr(i));
        nodes.db[i] += weight * (table.db(i) - neutral.db(i));
    }
}

float magnitude(float dr, float db) { return std::sqrt(2 * (dr * dr + db * db)) / 256; }

/// How much vibrance acts on a chroma of that magnitude: not on greys, not on vivid colours. Below the first node of
/// the table, at 11, a factor is constant.
float lifted(float m) { return smoothStep(9, 45, m) * (1 - smoothStep(60, 180, m)); }
float takenBack(float m) { return 1 - smoothStep(30, 120, m); }

/// The core's gain of chroma of magnitude `m`, up to 4 at saturation 1, without the rounding of its rows to bytes.
float gain(float saturation, float m) {
    constexpr float kMostGain = 4;
    if (saturation <= 0) return 1 + saturation;
    const float out = std::min(255.0f, ((kMostGain - 1) * saturation + 1) * m);
    return std::max(1.0f, (out + 4) / (m + 4));
}

void scale(Nodes& nodes, const Colour& colour) {
    for (int i = 0; i < kAll; ++i) {
        const float m = magnitude(nodes.dr[i], nodes.db[i]);
        const float vibrance = colour.vibrance > 0 ? lifted(m) * (gain(0.6f * colour.vibrance, m) - 1)
                                                   : takenBack(m) * 0.9f * colour.vibrance;
        const float factor = (1 + vibrance) * gain(colour.saturation, m * (1 + vibrance));
        nodes.dr[i] *= factor;
        nodes.db[i] *= factor;
    }
}

}  // namespace

ColourTable::ColourTable() {
    m_temperature = m_tint = m_saturation = m_vibrance = 0;
    for (int i = 0; i < kAll; ++i) {
        m_lutDr[i] = static_cast<ushort>(std::min(65535, i / kNodes % kNodes * 2048));
        m_lutDb[i] = static_cast<ushort>(std::min(65535, i % kNodes * 2048));
    }
}

bool ColourTable::isOf(const Colour& colour) const {
    return colour.temperature == m_colour.temperature && colour.tint == m_colour.tint &&
           colour.saturation == m_colour.saturation && colour.vibrance == m_colour.vibrance;
}

void ColourTable::set(const Colour& colour) {
    if (isOf(colour)) return;
    Nodes nodes;
    for (int i = 0; i < kAll; ++i) {
        nodes.dr[i] = static_cast<float>(i / kNodes % kNodes * 2048 - kZero);
        nodes.db[i] = static_cast<float>(i % kNodes * 2048 - kZero);
    }
    if (colour.temperature != 0 || colour.tint != 0) {
        const CoreTable neutral(0, 0);
        if (colour.temperature != 0) shift(nodes, CoreTable(colour.temperature, 0), neutral, 1);
        // One way of the core's, to green, serves both: there and back are the same length.
        if (colour.tint != 0)
            shift(nodes, CoreTable(0, -std::abs(colour.tint)), neutral, colour.tint < 0 ? 1.0f : -1.0f);
    }
    scale(nodes, colour);
    for (int i = 0; i < kAll; ++i) {
        m_lutDr[i] = cv::saturate_cast<ushort>(nodes.dr[i] + kZero);
        m_lutDb[i] = cv::saturate_cast<ushort>(nodes.db[i] + kZero);
    }
    m_bChanged = false;
    m_colour = colour;
}

}  // namespace kestrova::photo
