#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "photo/settings.h"

namespace kestrova::studio {

/// The settings at one point of the history. Strokes are shared with the state before it, so that a history takes as
/// much memory as its steps have changed, and finds what they have changed without comparing all.
class State {
public:
    explicit State(photo::Settings settings) : State(std::move(settings), State()) {}
    /// Shares the strokes that `before` begins with as well.
    State(photo::Settings settings, const State& before);

    /// Of each layer without so many of its first strokes.
    photo::Settings settings(const std::vector<std::size_t>& without = {}) const;
    /// `later` is what the settings without those strokes have become.
    State continued(const std::vector<std::size_t>& without, photo::Settings later) const;

    /// By layer.
    std::vector<std::size_t> strokeCounts() const;
    /// How many of its first strokes each layer shares with the one in the same place of `other`.
    std::vector<std::size_t> sharedWith(const State& other) const;

    /// Value by value.
    bool operator==(const State& other) const;
    /// The opposite.
    bool operator!=(const State& other) const { return !(*this == other); }

private:
    using Strokes = std::vector<std::shared_ptr<const photo::Stroke>>;

    State() = default;
    std::shared_ptr<const Strokes> sharing(std::vector<photo::Stroke>&& strokes, std::size_t layer) const;

    photo::Settings m_rest;                                 ///< all but the strokes
    std::vector<std::shared_ptr<const Strokes>> m_strokes;  ///< by layer
};

using StatePtr = std::shared_ptr<const State>;

}  // namespace kestrova::studio
