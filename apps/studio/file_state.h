#pragma once

#include <QDateTime>
#include <string>

namespace kestrova::studio {

/// What tells whether a file has been written since.
struct FileState {
    qint64 size = -1;  ///< -1 where there is no file
    QDateTime changed;

    bool exists() const { return size >= 0; }
    bool operator==(const FileState& o) const { return size == o.size && changed == o.changed; }
};

/// As it is now; waits for the disk, or the network.
FileState stateOf(const std::string& path);

}  // namespace kestrova::studio
