#include "photo/chunk.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "photo/chunk_rows.h"
#include "photo/light_curve.h"
#include "photo/zero.h"

namespace kestrova::photo {

namespace {

const Scale& scaleOf(const Adjustments& adjustments, int s) {
    return s == 0 ? adjustments.small : s == 1 ? adjustments.medium : adjustments.large;
}

/// What `splitRow` does to each scale. What is no texture stays out of a boost, which begins at 0 and is a boost in
/// full from 0.1 on, and goes with luminance noise, of which little reaches the large scale.
void sharesOf(const Adjustments& adjustments, Share shares[3]) {
    constexpr float kBoost = 0.1f;
    constexpr float kNoiseOfScale[3] = {1.0f, 0.9f, 0.5f};
    for (int s = 0; s < 3; ++s) {
        const Scale& scale = scaleOf(adjustments, s);
        const float left = 1 - kNoiseOfScale[s] * adjustments.noise.luminance;
        const Detail* const zones[3] = {&scale.shadows, &scale.midtones, &scale.highlights};
        for (int z = 0; z < 3; ++z) {
            const float boost = std::clamp(std::max(zones[z]->strength, zones[z]->threshold) / kBoost, 0.0f, 1.0f);
            shares[s].kept[z] = left * (1 - boost);
            shares[s].moved[z] = left * boost;
        }
    }
}

/// The engine's parameter for shadows or midtones, which leads from the base on to `wanted`: to 1.5 at 1.5 above it, to
/// -1.5 at -1.5 below.
float beyond(float base, float wanted) {
    const float room = wanted >= base ? 1.5f - base : base + 1.5f;
    return 1.5f * (wanted - base) / room;
}

/// Thresholds likewise, of which the engine counts four tenths below 0, in the base and in the way on from it.
float thresholdInEffect(float t) { return t < 0 ? 0.4f * t : t; }
float thresholdBeyond(float base, float wanted) {
    const float t = beyond(thresholdInEffect(base), thresholdInEffect(wanted));
    return t < 0 ? t / 0.4f : t;
}

template <class Values>
bool assign(Values& field, const Values& wanted) {
    if (std::equal(std::begin(field), std::end(field), std::begin(wanted))) return false;
    std::copy(std::begin(wanted), std::end(wanted), std::begin(field));
    return true;
}

/// The means of `step` x `step` pixels, row by row; at step 1 the rows themselves.
class Means {
public:
    Means(cv::Mat& out, int step) : m_out(out), m_step(step) {
        if (step > 1) m_sums.resize(static_cast<std::size_t>(out.cols) * out.channels());
    }
    /// The row to write the next row of the photograph into.
    ushort* row(int outRow, std::vector<ushort>& scratch) {
        return m_step == 1 ? m_out.ptr<ushort>(outRow) : scratch.data();
    }
    void add(const ushort* row) {
        if (m_step > 1) addUpRow(row, m_sums.data(), m_out.cols, m_step, m_out.channels());
    }
    void finish(int outRow) {
        if (m_step == 1) return;
        meanRow(m_sums.data(), m_out.ptr<ushort>(outRow), m_out.cols * m_out.channels(), m_step * m_step);
        std::fill(m_sums.begin(), m_sums.end(), 0u);
    }

private:
    cv::Mat& m_out;
    int m_step;
    std::vector<std::uint32_t> m_sums;
};

bool sameBytes(const cv::Mat& a, const cv::Mat& b) {
    if (a.size() != b.size() || a.type() != b.type()) return false;
    const std::size_t bytes = static_cast<std::size_t>(a.cols) * a.elemSize();
    for (int y = 0; y < a.rows; ++y)
        if (std::memcmp(a.ptr(y), b.ptr(y), bytes) != 0) return false;
    return true;
}

bool anyInside(const cv::Mat& mask) {
    for (int y = 0; y < mask.rows; ++y)
        if (std::any_of(mask.ptr(y), mask.ptr(y) + mask.cols, [](uchar m) { return m != 0; })) return true;
    return false;
}

}  // namespace

const cv::Mat& Chunk::render(const Source& source, const Prepared& prepared, const Recipe& recipe, const Steps& steps) {
    read(source, prepared);
    for (std::size_t i = 0; i < recipe.layers.size(); ++i) mask(prepared, i);
    if (m_current && recipe == m_recipe) return m_out;  // most of the picture, while a brush moves
    m_current = false;
    ++m_version;
    steps.check();
    m_stages.resize(1 + recipe.layers.size());
    for (auto& stage : m_stages)
        if (!stage) stage = std::make_unique<Stage>();
    develop(*m_stages[0], recipe.whole, recipe.colours[0], prepared, m_out);
    steps.check();
    for (std::size_t i = 0; i < recipe.layers.size(); ++i) {
        steps.check();
        const cv::Mat inside = mask(prepared, i);
        if (inside.empty() || recipe.layers[i] == recipe.whole || !anyInside(inside)) continue;
        develop(*m_stages[1 + i], recipe.layers[i], recipe.colours[1 + i], prepared, m_layer);
        for (int y = 0; y < m_out.rows; ++y)
            blendRow(m_layer.ptr<ushort>(y), inside.ptr(y), m_out.ptr<ushort>(y), m_out.cols);
    }
    m_recipe = recipe;
    m_current = true;
    return m_out;
}

const cv::Mat& Chunk::mask(const Prepared& prepared, std::size_t layer) {
    if (m_masks.size() <= layer) m_masks.resize(layer + 1);
    Masked& masked = m_masks[layer];
    if (layer >= prepared.masks.size() || prepared.masks[layer].plane.empty()) {
        m_current = m_current && masked.mask.empty();
        masked = {};
        return masked.mask;
    }
    // A brush moves in one place: elsewhere the mask is what it was.
    const Reduced& reduced = prepared.masks[layer];
    const int n = reduced.n, right = m_origin.x + m_size.width * m_step, below = m_origin.y + m_size.height * m_step;
    const cv::Rect cells(cv::Point(m_origin.x / n - 1, m_origin.y / n - 1), cv::Point(right / n + 2, below / n + 2));
    const cv::Mat part = reduced.plane(cells & cv::Rect(cv::Point(), reduced.plane.size()));
    if (sameBytes(part, masked.part)) return masked.mask;
    m_current = false;
    masked.part = part.clone();
    masked.mask = readMask(reduced);
    return masked.mask;
}

cv::Mat Chunk::readMask(const Reduced& reduced) const {
    cv::Mat out(m_size, CV_8UC1);
    ReducedReader reader(reduced, m_origin.x, m_size.width * m_step);
    std::vector<float> sums(static_cast<std::size_t>(m_size.width));
    for (int y = 0; y < m_size.height; ++y) {
        std::fill(sums.begin(), sums.end(), 0.0f);
        for (int k = 0; k < m_step; ++k) {
            const float* row = reader.row(m_origin.y + y * m_step + k);
            for (int x = 0; x < m_size.width; ++x)
                for (int i = 0; i < m_step; ++i) sums[x] += row[x * m_step + i];
        }
        const float scale = 1.0f / static_cast<float>(m_step * m_step);
        for (int x = 0; x < m_size.width; ++x) out.at<uchar>(y, x) = cv::saturate_cast<uchar>(sums[x] * scale);
    }
    return out;
}

void Chunk::read(const Source& source, const Prepared& prepared) {
    const bool scalesMissing = prepared.scales && prepared.scales != m_scales;
    if (!m_rgb.empty() && !scalesMissing) return;
    m_rgb.release();
    m_smooth = {};
    m_current = false;
    readRows(source, prepared.scales.get());
    m_scales = prepared.scales;
    m_Y.create(m_size, CV_16UC1);
    m_dr.create(m_size, CV_16UC1);
    m_db.create(m_size, CV_16UC1);
    for (int y = 0; y < m_rgb.rows; ++y) {
        luminanceRow(m_rgb.ptr<ushort>(y), m_Y.ptr<ushort>(y), m_rgb.cols);
        chromaRow(m_rgb.ptr<ushort>(y), m_Y.ptr<ushort>(y), m_dr.ptr<ushort>(y), m_db.ptr<ushort>(y), m_rgb.cols);
    }
    for (auto& stage : m_stages)
        if (stage) stage->fresh = true;
}

void Chunk::readRows(const Source& source, const Scales* scales) {
    const int x0 = m_origin.x, width = m_size.width * m_step;
    cv::Mat rgb = m_step == 1 ? source.working(cv::Rect(m_origin, m_size)) : cv::Mat(m_size, CV_16UC4);
    Means rgbMeans(rgb, m_step);
    std::vector<Means> detailMeans;
    std::vector<ReducedReader> models, textures;
    std::vector<ushort> scratch[3];
    if (scales) {
        for (int s = 0; s < 3; ++s) {
            m_detail[s].create(m_size, CV_16UC1);
            m_texture[s].create(m_size, CV_8UC1);
            detailMeans.emplace_back(m_detail[s], m_step);
            scratch[s].resize(static_cast<std::size_t>(width));
            textures.emplace_back(scales->texture[s], x0, width);
        }
        for (const SmoothModel* model : {&scales->medium, &scales->large}) {
            models.emplace_back(model->slope, x0, width);
            models.emplace_back(model->offset, x0, width);
        }
    }
    for (int y = 0; y < m_size.height; ++y) {
        cv::Mat strip;
        if (m_step > 1) strip = source.working({x0, m_origin.y + y * m_step, width, m_step});
        for (int k = 0; k < m_step; ++k) {
            const int row = m_origin.y + y * m_step + k;
            if (m_step > 1) rgbMeans.add(strip.ptr<ushort>(k));
            if (!scales) continue;
            const ushort* small = scales->small.ptr<ushort>(row) + x0;
            ushort* medium = detailMeans[1].row(y, scratch[1]);
            ushort* large = detailMeans[2].row(y, scratch[2]);
            const ModelRows rows = {models[0].row(row), models[1].row(row), models[2].row(row), models[3].row(row)};
            takeApartRow(scales->luminance.ptr<ushort>(row) + x0, small, rows, medium, large, width);
            if (m_step == 1) std::copy(small, small + width, m_detail[0].ptr<ushort>(y));
            detailMeans[0].add(small);
            detailMeans[1].add(medium);
            detailMeans[2].add(large);
        }
        if (m_step > 1) rgbMeans.finish(y);
        if (!scales) continue;
        for (int s = 0; s < 3; ++s) {
            detailMeans[s].finish(y);
            const float* texture = textures[s].row(m_origin.y + y * m_step + m_step / 2);
            auto* out = m_texture[s].ptr(y);
            for (int x = 0; x < m_size.width; ++x)
                out[x] = static_cast<uchar>(texture[x * m_step + m_step / 2] * 255 + 0.5f);
        }
    }
    m_rgb = rgb;
}

void Chunk::split(Stage& stage, const Adjustments& adjustments) {
    Share shares[3];
    sharesOf(adjustments, shares);
    std::array<float, 18> key{};
    for (int s = 0; s < 3; ++s)
        for (int z = 0; z < 3; ++z) {
            key[6 * s + z] = shares[s].kept[z];
            key[6 * s + 3 + z] = shares[s].moved[z];
        }
    if (!stage.fresh && key == stage.split) return;
    stage.split = key;
    stage.engine.m_bRoiChanged = true;
    if (!m_scales) {
        // Nothing but colour is adjusted: no detail.
        stage.base = m_Y;
        stage.detail[0].create(m_size, CV_16UC1);
        stage.detail[0].setTo(kZero);
        stage.detail[1] = stage.detail[2] = stage.detail[0];
        return;
    }
    // Not in place: the engine's result may share pixels with what it was given.
    stage.base = cv::Mat(m_size, CV_16UC1);
    for (cv::Mat& detail : stage.detail) detail = cv::Mat(m_size, CV_16UC1);
    for (int y = 0; y < m_size.height; ++y) {
        const ushort* in[3];
        const uchar* texture[3];
        ushort* out[3];
        for (int s = 0; s < 3; ++s) {
            in[s] = m_detail[s].ptr<ushort>(y);
            texture[s] = m_texture[s].ptr(y);
            out[s] = stage.detail[s].ptr<ushort>(y);
        }
        splitRow(m_Y.ptr<ushort>(y), in, texture, shares, out, stage.base.ptr<ushort>(y), m_size.width);
    }
}

/// Gives the engine its parameters and raises the flag of each that differs.
void Chunk::setEngine(Stage& stage, const Adjustments& adjustments) {
    TVelline& engine = stage.engine;
    bool* const changed[3] = {&engine.m_bChangedS, &engine.m_bChangedM, &engine.m_bChangedL};
    for (int s = 0; s < 3; ++s) {
        const Scale& scale = scaleOf(adjustments, s);
        const Detail &h = scale.highlights, &d = scale.shadows, &m = scale.midtones;
        const float k[3] = {h.strength, beyond(h.strength, d.strength), beyond(h.strength, m.strength)};
        const float t[3] = {h.threshold, thresholdBeyond(h.threshold, d.threshold),
                            thresholdBeyond(h.threshold, m.threshold)};
        for (int z = 0; z < 3; ++z) {
            if (engine.m_k[3 * s + z] == k[z] && engine.m_t[3 * s + z] == t[z]) continue;
            engine.m_k[3 * s + z] = k[z];
            engine.m_t[3 * s + z] = t[z];
            *changed[s] = true;
        }
    }
    const EngineLight light = engineLight(adjustments.light);
    const float six[6] = {light.brightness, light.contrast, light.highlights,
                          light.shadows,    light.whites,   light.blacks};
    const float mix[3] = {adjustments.mix.red, adjustments.mix.green, adjustments.mix.blue};
    if (assign(engine.m_light, six)) engine.m_bChangedY = true;
    if (assign(engine.m_mix, mix)) engine.m_bChangedY = true;
    engine.m_Y = stage.base;
    engine.m_DS = stage.detail[0];
    engine.m_DM = stage.detail[1];
    engine.m_DL = stage.detail[2];
    engine.m_maxPlainLevel = 1;
}

void Chunk::develop(Stage& stage, const Adjustments& adjustments, const std::shared_ptr<const ColourTable>& colour,
                    const Prepared& prepared, cv::Mat& out) {
    if (adjustments == Adjustments()) {
        m_rgb.copyTo(out);
        return;
    }
    split(stage, adjustments);
    setEngine(stage, adjustments);

    cv::Mat dr = m_dr, db = m_db;
    if (adjustments.noise.colour > 0 && prepared.chroma) {
        dr = cv::Mat();
        db = cv::Mat();
        if (m_smooth.noise.empty()) m_smooth = prepared.chroma->smooth(m_origin, m_step, m_Y);
        m_smooth.apply(adjustments.noise.colour, m_dr, m_db, dr, db);
    }
    if (adjustments.noise.colour != stage.adjustments.noise.colour) stage.engine.m_bChangedY = true;  // reads chroma
    stage.engine.m_Dr = dr;
    stage.engine.m_Db = db;
    stage.engine.proc(cv::Rect(0, 0, m_size.width, m_size.height), 1, cv::Mat());
    const cv::Mat& Y1 = stage.engine.getRoiY();

    if (stage.colourSource != colour) {
        stage.colour = *colour;
        stage.colourSource = colour;
    }
    cv::Mat dr1, db1;
    stage.colour.proc(m_Y, Y1, dr, db, dr1, db1);
    out.create(m_size, CV_16UC4);
    for (int y = 0; y < m_size.height; ++y) {
        const ChangedRow row = {m_Y.ptr<ushort>(y),  Y1.ptr<ushort>(y),  m_dr.ptr<ushort>(y),
                                m_db.ptr<ushort>(y), dr1.ptr<ushort>(y), db1.ptr<ushort>(y)};
        composeRow(m_rgb.ptr<ushort>(y), row, out.ptr<ushort>(y), m_size.width);
    }
    stage.adjustments = adjustments;
    stage.fresh = false;
}

}  // namespace kestrova::photo
