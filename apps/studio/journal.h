#pragma once

#include <string>

#include "studio/history.h"

namespace kestrova::studio {

/// The file of a history: lines of JSON, of which each step's holds what it changed (RFC 6902). It is appended to, so
/// that a save costs as much as what is new, and read up to the first line that is damaged, such as the last one of a
/// process that was killed. Serves one thread at a time.
class Journal {
public:
    explicit Journal(std::string path) : m_path(std::move(path)) {}

    /// Nothing if there is no file or nothing readable in it. Throws nothing.
    History read();
    /// Of a photograph with that fingerprint, which is empty while it cannot be read. Throws `photo::Error` of kind
    /// file; the next call then writes everything.
    void write(const History& history, const std::string& fingerprint);
    /// Adds that the sidecar holds what was written last. Throws likewise.
    void noteSidecar();

    /// Whether the last line of the file says that the sidecar holds what was written last. Reads no more than that
    /// line.
    static bool endsInSidecar(const std::string& path);

    /// The fingerprint with which it was written; empty if the file says none.
    const std::string& photograph() const { return m_photograph; }
    /// Whether the sidecar had been written, too.
    bool hasSidecar() const { return m_hasSidecar; }

private:
    void readLine(const std::string& line, History& history);
    std::string linesFor(const History& history, bool append);
    void add(const std::string& lines, bool append);

    std::string m_path;
    std::string m_photograph;
    bool m_hasSidecar = false;
    History m_written;  ///< its states are those of the file
    qint64 m_size = 0;  ///< of the file, then
};

}  // namespace kestrova::studio
