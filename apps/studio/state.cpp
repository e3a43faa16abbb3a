#include "studio/state.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace kestrova::studio {

using photo::Settings;
using photo::Stroke;

namespace {

std::size_t at(const std::vector<std::size_t>& counts, std::size_t layer) {
    return layer < counts.size() ? counts[layer] : 0;
}

template <class One, class Other, class Same>
std::ptrdiff_t equalFirst(const One& one, const Other& other, Same same) {
    return std::mismatch(one.begin(), one.end(), other.begin(), other.end(), same).first - one.begin();
}

void append(std::vector<std::shared_ptr<const Stroke>>& strokes, Stroke* first, Stroke* end) {
    for (; first != end; ++first) strokes.push_back(std::make_shared<const Stroke>(std::move(*first)));
}

}  // namespace

State::State(Settings settings, const State& before) {
    for (std::size_t i = 0; i < settings.layers.size(); ++i)
        m_strokes.push_back(before.sharing(std::exchange(settings.layers[i].mask.strokes, {}), i));
    m_rest = std::move(settings);
}

/// Strokes that are expected on that layer.
std::shared_ptr<const State::Strokes> State::sharing(std::vector<Stroke>&& strokes, std::size_t layer) const {
    const Strokes* from = nullptr;
    std::ptrdiff_t same = 0;
    for (std::size_t i = 0; i < m_strokes.size() && same == 0; ++i) {  // layers are moved and copied
        const auto& there = m_strokes[(layer + i) % m_strokes.size()];
        same = equalFirst(*there, strokes, [](const auto& one, const Stroke& other) { return *one == other; });
        if (same == static_cast<std::ptrdiff_t>(strokes.size()) && strokes.size() == there->size()) return there;
        from = there.get();
    }
    Strokes all;
    all.reserve(strokes.size());
    if (same > 0) all.assign(from->begin(), from->begin() + same);
    append(all, strokes.data() + same, strokes.data() + strokes.size());
    return std::make_shared<const Strokes>(std::move(all));
}

Settings State::settings(const std::vector<std::size_t>& without) const {
    Settings settings = m_rest;
    for (std::size_t i = 0; i < m_strokes.size(); ++i) {
        std::vector<Stroke>& strokes = settings.layers[i].mask.strokes;
        const std::size_t first = at(without, i);
        strokes.reserve(m_strokes[i]->size() - first);
        for (std::size_t k = first; k < m_strokes[i]->size(); ++k) strokes.push_back(*(*m_strokes[i])[k]);
    }
    return settings;
}

State State::continued(const std::vector<std::size_t>& without, Settings later) const {
    State state;
    for (std::size_t i = 0; i < later.layers.size(); ++i) {
        std::vector<Stroke> anew = std::exchange(later.layers[i].mask.strokes, {});
        const std::size_t kept = at(without, i);
        if (anew.empty() && kept > 0 && kept == m_strokes[i]->size()) {
            state.m_strokes.push_back(m_strokes[i]);
            continue;
        }
        Strokes all;
        all.reserve(kept + anew.size());
        if (kept > 0) all.assign(m_strokes[i]->begin(), m_strokes[i]->begin() + static_cast<std::ptrdiff_t>(kept));
        append(all, anew.data(), anew.data() + anew.size());
        state.m_strokes.push_back(std::make_shared<const Strokes>(std::move(all)));
    }
    state.m_rest = std::move(later);
    return state;
}

std::vector<std::size_t> State::strokeCounts() const {
    std::vector<std::size_t> counts;
    for (const auto& strokes : m_strokes) counts.push_back(strokes->size());
    return counts;
}

std::vector<std::size_t> State::sharedWith(const State& other) const {
    std::vector<std::size_t> counts;
    for (std::size_t i = 0; i < std::min(m_strokes.size(), other.m_strokes.size()); ++i)
        counts.push_back(
            m_strokes[i] == other.m_strokes[i]
                ? m_strokes[i]->size()
                : static_cast<std::size_t>(equalFirst(*m_strokes[i], *other.m_strokes[i], std::equal_to<>())));
    return counts;
}

bool State::operator==(const State& other) const {
    const auto same = [](const auto& one, const auto& two) { return one == two || *one == *two; };
    return m_rest == other.m_rest &&
           std::equal(m_strokes.begin(), m_strokes.end(), other.m_strokes.begin(), other.m_strokes.end(),
                      [&](const auto& one, const auto& two) {
                          return one == two || std::equal(one->begin(), one->end(), two->begin(), two->end(), same);
                      });
}

}  // namespace kestrova::studio
