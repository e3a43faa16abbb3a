#include "studio/history.h"

#include <QFile>
#include <QSaveFile>
#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <utility>

#include "photo/error.h"
#include "studio/widgets/pixels.h"

namespace kestrova::studio {

using nlohmann::json;

HistoryStep::HistoryStep(const QString& text, SettingsPtr before, SettingsPtr after, int gesture, Apply apply)
    : QUndoCommand(text),
      m_before(std::move(before)),
      m_after(std::move(after)),
      m_gesture(gesture),
      m_apply(std::move(apply)) {}

bool HistoryStep::mergeWith(const QUndoCommand* later) {
    const auto* step = static_cast<const HistoryStep*>(later);
    if (step->m_gesture != m_gesture) return false;
    m_after = step->m_after;
    setText(step->text());
    setObsolete(*m_after == *m_before);
    return true;
}

void History::add(const QString& text, const SettingsPtr& state) {
    states.resize(static_cast<std::size_t>(index) + 1);
    texts.resize(index);
    states.push_back(state);
    texts << text;
    ++index;
}

namespace {

json jsonOf(const photo::Settings& settings) { return json::parse(settings.toJson()); }

void readLine(const json& line, History& history, json& last) {
    if (line.contains("base")) {
        last = line.at("base");
        history = {{std::make_shared<const photo::Settings>(photo::Settings::fromJson(last.dump()))}, {}, 0};
    } else if (line.contains("keep")) {
        const auto keep = line.at("keep").get<std::size_t>();
        if (keep < 1 || keep > history.states.size()) throw std::out_of_range("keep");
        history.states.resize(keep);
        history.texts.resize(static_cast<qsizetype>(keep) - 1);
        last = jsonOf(*history.states.back());
    } else if (line.contains("step")) {
        last.patch_inplace(line.at("patch"));
        const auto state = std::make_shared<const photo::Settings>(photo::Settings::fromJson(last.dump()));
        history.texts << QString::fromStdString(line.at("step").get<std::string>());
        history.states.push_back(state);
    } else {
        history.index = line.at("at").get<int>();
    }
}

}  // namespace

History Journal::read(const std::string& path) {
    History history;
    json last;
    std::ifstream file(path);
    try {
        for (std::string text; std::getline(file, text);) readLine(json::parse(text), history, last);
    } catch (const std::exception&) {  // what was read before it stands
    }
    history.index = std::clamp(history.index, 0, static_cast<int>(history.texts.size()));
    return history;
}

std::string Journal::linesFor(const History& history, bool& append) {
    // Of a history that has grown too long the first steps are gone, which the file may keep.
    const auto& old = m_written.states;
    const auto first = std::find(old.begin(), old.end(), history.states.front());
    append = first != old.end();
    std::size_t same = 0, offset = 0;
    std::string lines;
    const auto line = [&](const json& content) { lines += content.dump() + '\n'; };
    if (append) {
        offset = static_cast<std::size_t>(first - old.begin());
        while (same < history.states.size() && offset + same < old.size() && old[offset + same] == history.states[same])
            ++same;
        if (offset + same < old.size()) line({{"keep", offset + same}});
    } else {
        line({{"base", jsonOf(*history.states.front())}});
        same = 1;
    }
    json before = same < history.states.size() ? jsonOf(*history.states[same - 1]) : json();
    for (std::size_t i = same; i < history.states.size(); ++i) {
        json after = jsonOf(*history.states[i]);
        line({{"step", history.texts[static_cast<qsizetype>(i) - 1].toStdString()},
              {"patch", json::diff(before, after)}});
        before = std::move(after);
    }
    line({{"at", static_cast<int>(offset) + history.index}});

    if (!append) m_written = {};
    m_written.states.resize(append ? offset + same : 0);
    m_written.states.insert(m_written.states.end(), history.states.begin() + (append ? same : 0), history.states.end());
    return lines;
}

void Journal::write(const History& history) {
    bool append = false;
    const std::string lines = linesFor(history, append);
    QFile old(fileName(m_path));
    QSaveFile anew(old.fileName());  // in place of the one that is there once it is whole
    QFileDevice& file = append ? static_cast<QFileDevice&>(old) : anew;
    const bool written =
        file.open(append ? QIODevice::Append : QIODevice::WriteOnly) &&
        file.write(lines.data(), static_cast<qint64>(lines.size())) == static_cast<qint64>(lines.size()) &&
        file.flush() && (append || anew.commit());
    if (written) return;
    m_written = {};
    throw photo::Error(photo::Error::Kind::file, m_path + ": " + file.errorString().toStdString());
}

}  // namespace kestrova::studio
