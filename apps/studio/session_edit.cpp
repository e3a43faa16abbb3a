#include <algorithm>
#include <cmath>

#include "studio/session.h"
#include "studio/widgets/photo_texts.h"
#include "studio/widgets/slider_texts.h"

namespace kestrova::studio {

using photo::Adjustments;
using photo::Layer;
using photo::Mask;
using photo::Settings;

namespace {

constexpr std::size_t kMostLayers = 16;
constexpr double kPressureStep = 1.1;  // of radii that are worth a stroke of their own

bool isLayer(const Settings& settings, int layer) {
    return layer >= 0 && layer < static_cast<int>(settings.layers.size());
}

double underPressure(double radius, double pressure) {
    constexpr double kLeastPressure = 0.15;
    return std::max(1e-5, radius * std::clamp(pressure, kLeastPressure, 1.0));
}

photo::Point inReach(const photo::Point& p) { return {std::clamp(p.x, -1.0, 2.0), std::clamp(p.y, -1.0, 2.0)}; }

}  // namespace

void Session::setTarget(int target) {
    target = std::clamp(target, kWhole, static_cast<int>(m_settings->layers.size()) - 1);
    if (target == m_target) return;
    endGesture();
    m_target = target;
    emit targetChanged(target);
}

const Adjustments& Session::adjustments() const {
    if (m_target == kWhole) return *m_settings;
    return m_settings->layers[static_cast<std::size_t>(m_target)].adjustments;
}

void Session::setAdjustments(const QString& text, const Adjustments& adjustments) {
    Settings next = *m_settings;
    if (m_target == kWhole) {
        static_cast<Adjustments&>(next) = adjustments;
        return change(text, next);
    }
    Layer& layer = next.layers[static_cast<std::size_t>(m_target)];
    layer.adjustments = adjustments;
    change(tr("%1, %2").arg(QString::fromStdString(layer.name), text), next);
}

void Session::setValue(const photo::Slider& slider, float value) {
    Adjustments next = adjustments();
    slider.of(next) = std::clamp(value, slider.least, slider.greatest);
    setAdjustments(sliderFullName(slider), next);
}

void Session::setFilter(photo::DetailFilter filter) {
    Settings next = *m_settings;
    next.filter = filter;
    change(tr("Detail filter"), next);
}

void Session::applyPreset(const photo::Preset& preset) {
    Settings next = *m_settings;
    static_cast<Adjustments&>(next) = preset.settings;
    next.filter = preset.settings.filter;
    change(tr("Preset: %1").arg(presetTitle(preset.name)), next);
}

bool Session::addLayer() {
    if (!isOpen() || m_settings->layers.size() >= kMostLayers) return false;
    Settings next = *m_settings;
    Layer layer;
    layer.name = tr("Layer %1").arg(next.layers.size() + 1).toStdString();
    next.layers.push_back(layer);
    change(tr("Add layer"), next);
    m_target = static_cast<int>(next.layers.size()) - 1;
    emit targetChanged(m_target);
    return true;
}

bool Session::duplicateLayer(int layer) {
    if (!isLayer(*m_settings, layer) || m_settings->layers.size() >= kMostLayers) return false;
    Settings next = *m_settings;
    Layer copy = next.layers[static_cast<std::size_t>(layer)];
    copy.name = tr("%1 copy").arg(QString::fromStdString(copy.name)).toStdString();
    next.layers.insert(next.layers.begin() + layer + 1, copy);
    change(tr("Duplicate layer"), next);
    m_target = layer + 1;
    emit targetChanged(m_target);
    return true;
}

void Session::removeLayer(int layer) {
    if (!isLayer(*m_settings, layer)) return;
    Settings next = *m_settings;
    next.layers.erase(next.layers.begin() + layer);
    change(tr("Remove layer"), next);
}

void Session::moveLayer(int from, int to) {
    if (!isLayer(*m_settings, from) || !isLayer(*m_settings, to) || from == to) return;
    Settings next = *m_settings;
    const auto first = next.layers.begin();
    if (from < to)
        std::rotate(first + from, first + from + 1, first + to + 1);
    else
        std::rotate(first + to, first + from, first + from + 1);
    change(tr("Move layer"), next);
    setTarget(to);
}

void Session::renameLayer(int layer, const QString& name) {
    if (!isLayer(*m_settings, layer)) return;
    Settings next = *m_settings;
    next.layers[static_cast<std::size_t>(layer)].name = name.toStdString();
    change(tr("Rename layer"), next);
}

void Session::setMask(int layer, const QString& text, const Mask& mask) {
    if (!isLayer(*m_settings, layer)) return;
    Settings next = *m_settings;
    next.layers[static_cast<std::size_t>(layer)].mask = mask;
    change(text, next);
}

void Session::fillLayer(int layer) { setMask(layer, tr("Fill mask"), {{}, true}); }

void Session::clearLayer(int layer) { setMask(layer, tr("Clear mask"), {{}, false}); }

void Session::invertLayer(int layer) {
    if (!isLayer(*m_settings, layer)) return;
    Mask mask = m_settings->layers[static_cast<std::size_t>(layer)].mask;
    mask.inverted = !mask.inverted;
    setMask(layer, tr("Invert mask"), mask);
}

void Session::beginStroke(const photo::Stroke& brush, const photo::Point& point, double pressure) {
    if (!isOpen()) return;
    beginGesture();
    if (m_target == kWhole && !addLayer()) {
        emit message(tr("There are as many layers as there may be."));
        endGesture();
        return;
    }
    m_stroke = m_gesture;
    Settings next = *m_settings;
    Mask& mask = next.layers[static_cast<std::size_t>(m_target)].mask;
    m_brush = brush;
    m_brush.erase = brush.erase != mask.inverted;
    m_brush.points = {inReach(point)};
    mask.strokes.push_back(m_brush);
    mask.strokes.back().radius = underPressure(m_brush.radius, pressure);
    changeByStroke(next);
}

void Session::changeByStroke(const Settings& next) {
    m_painting = true;
    change(tr("Brush stroke"), next);
    m_painting = false;
}

void Session::extendStroke(const photo::Point& point, double pressure) {
    // Another change, or a step back, has ended it.
    if (m_gesture != m_stroke || !isLayer(*m_settings, m_target)) return;
    if (m_settings->layers[static_cast<std::size_t>(m_target)].mask.strokes.empty()) return;
    Settings next = *m_settings;
    std::vector<photo::Stroke>& strokes = next.layers[static_cast<std::size_t>(m_target)].mask.strokes;
    const double radius = underPressure(m_brush.radius, pressure);
    const double ratio = radius / strokes.back().radius;
    if (ratio > kPressureStep || ratio < 1 / kPressureStep) {
        photo::Stroke piece = m_brush;
        piece.points = {strokes.back().points.back()};
        piece.radius = radius;
        strokes.push_back(piece);
    }
    strokes.back().points.push_back(inReach(point));
    changeByStroke(next);
}

void Session::endStroke() {
    if (m_gesture == m_stroke) endGesture();
}

void Session::rotate(int quarters) {
    Settings next = *m_settings;
    for (int i = 0; i < ((quarters % 4) + 4) % 4; ++i) {
        next.rotate = (next.rotate + 90) % 360;
        const photo::Crop c = next.crop;
        next.crop = {std::max(0.0, 1 - c.y - c.height), c.x, c.height, c.width};
    }
    change(quarters > 0 ? tr("Rotate right") : tr("Rotate left"), next);
}

void Session::setCrop(const photo::Crop& crop) {
    Settings next = *m_settings;
    next.crop = crop;
    change(tr("Crop"), next);
}

void Session::setStraighten(double degrees) {
    Settings next = *m_settings;
    next.straighten = std::clamp(degrees, -45.0, 45.0);
    change(tr("Straighten"), next);
}

}  // namespace kestrova::studio
