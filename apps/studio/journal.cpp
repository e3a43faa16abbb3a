#include "studio/journal.h"

#include <QFile>
#include <QSaveFile>
#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <utility>

#include "photo/error.h"
#include "studio/state_patch.h"
#include "studio/widgets/pixels.h"

namespace kestrova::studio {

using nlohmann::json;
using photo::Settings;

namespace {

constexpr int kMostLines = 2000;  // of a file that is worth appending to

}  // namespace

void Journal::readLine(const std::string& text, History& history) {
    const json line = json::parse(text);
    if (line.contains("base")) {
        history = {{std::make_shared<const State>(Settings::fromJson(line.at("base").dump()))}, {}, 0};
        m_photograph = line.value("photograph", std::string());
    } else if (line.contains("keep")) {
        const auto keep = line.at("keep").get<std::size_t>();
        if (keep < 1 || keep > history.states.size()) throw std::out_of_range("keep");
        history.states.resize(keep);
        history.texts.resize(static_cast<qsizetype>(keep) - 1);
    } else if (line.contains("step")) {
        const QString step = QString::fromStdString(line.at("step").get<std::string>());
        if (history.empty()) throw std::out_of_range("step");
        history.states.push_back(std::make_shared<const State>(patched(*history.states.back(), line.at("patch"))));
        history.texts << step;
    } else {
        history.index = line.at("at").get<int>();
        m_hasSidecar = line.value("sidecar", false);
    }
}

History Journal::read() {
    *this = Journal(m_path);
    History history;
    std::ifstream file(m_path);
    int lines = 0;
    bool isWhole = true;
    try {
        for (std::string text; std::getline(file, text); ++lines) {
            isWhole = !file.eof();  // the last line ends, too
            readLine(text, history);
            m_size += static_cast<qint64>(text.size()) + 1;
        }
    } catch (const std::exception&) {  // what was read before it stands
        isWhole = false;
    }
    history.index = std::clamp(history.index, 0, static_cast<int>(history.texts.size()));
    if (isWhole && lines <= kMostLines) m_written = history;
    return history;
}

/// Of a history that has grown too long the first steps are gone, which the file may keep.
std::string Journal::linesFor(const History& history, bool append) {
    auto& file = m_written.states;
    std::size_t same = 0, offset = 0;
    std::string lines;
    const auto line = [&](const json& content) { lines += content.dump() + '\n'; };
    if (append) {
        const auto first = std::find(file.begin(), file.end(), history.states.front());
        offset = static_cast<std::size_t>(first - file.begin());
        same = static_cast<std::size_t>(
            std::mismatch(first, file.end(), history.states.begin(), history.states.end()).first - first);
        if (offset + same < file.size()) line({{"keep", offset + same}});
        file.resize(offset + same);
    } else {
        line({{"base", json::parse(history.states.front()->settings().toJson())}, {"photograph", m_photograph}});
        file = {history.states.front()};
        same = 1;
    }
    for (std::size_t i = same; i < history.states.size(); ++i) {
        line({{"step", history.texts[static_cast<qsizetype>(i) - 1].toStdString()},
              {"patch", patchBetween(*history.states[i - 1], *history.states[i])}});
        file.push_back(history.states[i]);
    }
    m_written.index = static_cast<int>(offset) + history.index;
    line({{"at", m_written.index}});
    return lines;
}

void Journal::add(const std::string& lines, bool append) {
    QFile old(fileName(m_path));
    QSaveFile anew(old.fileName());  // in place of the one that is there once it is whole
    QFileDevice& file = append ? static_cast<QFileDevice&>(old) : anew;
    const auto size = static_cast<qint64>(lines.size());
    if (!file.open(append ? QIODevice::Append : QIODevice::WriteOnly) || file.write(lines.data(), size) != size ||
        !file.flush() || !(append || anew.commit())) {
        throw photo::Error(photo::Error::Kind::file, m_path + ": " + file.errorString().toStdString());
    }
    m_size = append ? m_size + size : size;
}

void Journal::write(const History& history, const std::string& fingerprint) {
    const auto& file = m_written.states;
    const std::string photograph = fingerprint.empty() ? m_photograph : fingerprint;
    const bool append = std::find(file.begin(), file.end(), history.states.front()) != file.end() &&
                        photograph == m_photograph && QFile(fileName(m_path)).size() == m_size &&
                        file.size() < kMostLines / 2;
    m_photograph = photograph;
    m_hasSidecar = false;
    try {
        add(linesFor(history, append), append);
    } catch (...) {
        m_written = {};
        throw;
    }
}

void Journal::noteSidecar() {
    if (m_written.empty() || QFile(fileName(m_path)).size() != m_size) return;
    add(json({{"at", m_written.index}, {"sidecar", true}}).dump() + '\n', true);
    m_hasSidecar = true;
}

bool Journal::endsInSidecar(const std::string& path) {
    constexpr qint64 kEnd = 64;
    QFile file(fileName(path));
    return file.open(QIODevice::ReadOnly) && file.seek(std::max(qint64{0}, file.size() - kEnd)) &&
           file.readAll().endsWith("\"sidecar\":true}\n");
}

}  // namespace kestrova::studio
