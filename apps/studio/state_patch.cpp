#include "studio/state_patch.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <regex>
#include <string>

namespace kestrova::studio {

using nlohmann::json;
using photo::Settings;

namespace {

using Counts = std::vector<std::size_t>;

/// "/layers/1/mask/strokes/20/radius"
struct StrokePath {
    std::size_t layer = 0, stroke = 0;
    std::string rest;

    std::string text() const {
        return "/layers/" + std::to_string(layer) + "/mask/strokes/" + std::to_string(stroke) + rest;
    }
};

std::optional<StrokePath> strokePathOf(const std::string& path) {
    StrokePath parts;
    int end = 0;
    if (std::sscanf(path.c_str(), "/layers/%zu/mask/strokes/%zu%n", &parts.layer, &parts.stroke, &end) < 2) return {};
    parts.rest = path.substr(static_cast<std::size_t>(end));
    return parts;
}

bool holdsStrokes(const std::string& path) {
    static const std::regex whole("(/layers(/[0-9]+(/mask(/strokes)?)?)?)?");
    return std::regex_match(path, whole);
}

json jsonOf(const Settings& settings) { return json::parse(settings.toJson()); }

/// How many of each layer's first strokes the patch leaves as and where they are.
Counts untouched(const State& before, const json& patch) {
    Counts counts = before.strokeCounts();
    for (const json& operation : patch) {
        const auto path = operation.at("path").get<std::string>();
        if (const auto parts = strokePathOf(path)) {
            if (parts->layer < counts.size()) counts[parts->layer] = std::min(counts[parts->layer], parts->stroke);
        } else if (holdsStrokes(path)) {
            std::fill(counts.begin(), counts.end(), 0);
        }
    }
    return counts;
}

template <class Change>
void renumberStrokes(json& patch, Change change) {
    for (json& operation : patch) {
        auto parts = strokePathOf(operation.at("path").get<std::string>());
        if (!parts) continue;
        change(*parts);
        operation["path"] = parts->text();
    }
}

}  // namespace

json patchBetween(const State& before, const State& after) {
    const Counts shared = before.sharedWith(after);
    json patch = json::diff(jsonOf(before.settings(shared)), jsonOf(after.settings(shared)));
    renumberStrokes(patch, [&](StrokePath& path) {
        if (path.layer < shared.size()) path.stroke += shared[path.layer];
    });
    return patch;
}

State patched(const State& before, json patch) {
    const Counts kept = untouched(before, patch);
    renumberStrokes(patch, [&](StrokePath& path) {
        if (path.layer < kept.size()) path.stroke -= kept[path.layer];
    });
    const json after = jsonOf(before.settings(kept)).patch(patch);
    return before.continued(kept, Settings::fromJson(after.dump()));
}

}  // namespace kestrova::studio
