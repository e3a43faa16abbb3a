#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <random>

#include "studio/journal.h"
#include "studio/state_patch.h"
#include "tests/studio/home.h"

namespace kestrova::studio {
namespace {

using nlohmann::json;
using photo::Settings;

json jsonOf(const State& state) { return json::parse(state.settings().toJson()); }

photo::Stroke stroke(int i, int points) {
    photo::Stroke stroke;
    for (int k = 0; k < points; ++k) stroke.points.push_back({0.001 * i, k / 131.0});
    return stroke;
}

/// Paints so many strokes on one layer, each a step.
History painted(int strokes, int points) {
    Settings settings;
    settings.layers.resize(1);
    History history{{std::make_shared<const State>(settings)}, {}, 0};
    for (int i = 0; i < strokes; ++i) {
        settings.layers[0].mask.strokes.push_back(stroke(i, points));
        history.add("Brush stroke", std::make_shared<const State>(settings, *history.current()));
    }
    return history;
}

/// What a person may do, at random.
Settings edited(Settings settings, std::mt19937& random) {
    const auto below = [&](std::size_t n) { return random() % n; };
    if (settings.layers.empty() || below(8) == 0) {
        if (settings.layers.size() < 5) settings.layers.emplace_back().name = "Layer";
        return settings;
    }
    photo::Layer& layer = settings.layers[below(settings.layers.size())];
    auto& strokes = layer.mask.strokes;
    const auto some = [&] { return strokes.begin() + static_cast<std::ptrdiff_t>(below(strokes.size())); };
    switch (below(9)) {
        case 0: layer.adjustments.light.contrast = 0.01f * static_cast<float>(below(100)); break;
        case 1: settings.light.brightness = 0.01f * static_cast<float>(below(100)); break;
        case 2: settings.layers.erase(settings.layers.begin()); break;
        case 3:
            settings.layers.push_back(layer);
            settings.layers.resize(std::min<std::size_t>(5, settings.layers.size()));
            break;
        case 4:
            if (below(3) == 0) layer.mask = {{}, below(2) == 0};
            break;
        case 5:
            if (!strokes.empty()) some()->points.push_back({0.5, 0.25});
            break;
        case 6:
            if (!strokes.empty()) strokes.erase(some());
            break;
        default: strokes.push_back(stroke(static_cast<int>(below(500)), 3)); break;
    }
    return settings;
}

class HistoryTest : public Home {
protected:
    std::string path = scratch / "a.journal";
};

TEST_F(HistoryTest, APatchIsOneOfTheWholeDocumentAndGivesTheStateBack) {
    std::mt19937 random(7);
    State before{Settings()};
    for (int i = 0; i < 2000; ++i) {
        const State after(edited(before.settings(), random), before);
        const json patch = patchBetween(before, after);
        ASSERT_EQ(jsonOf(before).patch(patch), jsonOf(after)) << patch;
        ASSERT_EQ(patched(before, patch), after) << patch;
        ASSERT_EQ(patched(before, json::diff(jsonOf(before), jsonOf(after))), after) << "as earlier releases wrote it";
        before = after;
    }
}

TEST_F(HistoryTest, AStepWritesWhatItChangesHoweverManyStrokesThereAre) {
    Journal journal(path);
    History history = painted(600, 60);
    journal.write(history, "1");
    EXPECT_LT(std::filesystem::file_size(path), 600u * 60 * 64);
    for (int i = 0; i < 3; ++i) {
        const auto before = std::filesystem::file_size(path);
        Settings settings = history.current()->settings();
        settings.layers[0].mask.strokes.push_back(stroke(1, 2));
        history.add("Brush stroke", std::make_shared<const State>(settings, *history.current()));
        journal.write(history, "1");
        EXPECT_LT(std::filesystem::file_size(path), before + 400);
        history = journal.read();  // and goes on from there
    }
}

TEST_F(HistoryTest, StatesShareTheStrokesThatTheyHaveInCommonAlsoWhenReadAgain) {
    const History written = painted(600, 60);
    Journal(path).write(written, "1");
    const History read = Journal(path).read();
    ASSERT_EQ(read.states.size(), 601u);
    for (const History& history : {written, read})
        for (std::size_t i = 0; i < 600; ++i)
            ASSERT_EQ(history.states[i + 1]->sharedWith(*history.states[i]), std::vector<std::size_t>{i});
    EXPECT_EQ(*read.states.back(), *written.states.back());
}

TEST_F(HistoryTest, AJournalOfAnEarlierReleaseOpens) {
    const History history = painted(20, 5);
    std::ofstream file(path);
    file << json({{"base", jsonOf(*history.states[0])}}) << '\n';
    for (std::size_t i = 1; i < history.states.size(); ++i)
        file << json({{"step", "Brush stroke"},
                      {"patch", json::diff(jsonOf(*history.states[i - 1]), jsonOf(*history.states[i]))}})
             << '\n';
    file << json({{"keep", 11}}) << '\n' << json({{"at", 10}}) << '\n';
    file.close();
    const History read = Journal(path).read();
    ASSERT_EQ(read.states.size(), 11u);
    EXPECT_EQ(read.index, 10);
    for (std::size_t i = 0; i < read.states.size(); ++i) EXPECT_EQ(*read.states[i], *history.states[i]);
}

TEST_F(HistoryTest, AnEarlierReleaseReadsAJournalOfThisOne) {
    History history = painted(20, 5);
    Journal journal(path);
    journal.write(history, "1");
    history.index = 10;
    Settings settings = history.current()->settings();
    settings.light.contrast = 0.5f;
    history.add("Contrast", std::make_shared<const State>(settings, *history.current()));
    journal.write(history, "1");
    journal.noteSidecar();

    std::vector<json> states;
    int index = 0;
    std::ifstream file(path);
    for (std::string text; std::getline(file, text);) {
        const json line = json::parse(text);
        if (line.contains("base"))
            states = {line["base"]};
        else if (line.contains("keep"))
            states.resize(line["keep"].get<std::size_t>());
        else if (line.contains("step"))
            states.push_back(states.back().patch(line["patch"]));
        else
            index = line.at("at").get<int>();
    }
    ASSERT_EQ(states.size(), history.states.size());
    EXPECT_EQ(index, 11);
    for (std::size_t i = 0; i < states.size(); ++i) EXPECT_EQ(states[i], jsonOf(*history.states[i]));
}

TEST_F(HistoryTest, AJournalThatIsRemovedOrDamagedMeanwhileIsWrittenAnew) {
    History history = painted(3, 2);
    Journal journal(path);
    journal.write(history, "1");
    std::filesystem::remove(path);
    history.index = 2;
    journal.write(history, "1");
    EXPECT_EQ(Journal(path).read().index, 2);
    std::ofstream(path, std::ios::app) << "{\"step";
    EXPECT_EQ(journal.read().texts.size(), 3);
    history.index = 1;
    journal.write(history, "1");
    EXPECT_EQ(Journal(path).read().index, 1);
}

}  // namespace
}  // namespace kestrova::studio
