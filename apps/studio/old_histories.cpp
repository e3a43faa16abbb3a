#include "studio/old_histories.h"

#include <QMutexLocker>
#include <algorithm>
#include <filesystem>
#include <vector>

#include "studio/journal.h"

namespace kestrova::studio {

namespace fs = std::filesystem;

namespace {

struct File {
    fs::path path;
    std::uintmax_t bytes = 0;
    fs::file_time_type written;
};

std::vector<File> newestFirst(const std::string& folder) {
    std::vector<File> files;
    std::error_code error;
    for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        std::error_code gone;
        // Not those that are put aside, ".journal." and more: they alone may hold settings.
        if (at->path().extension() != ".journal") continue;
        const File file{at->path(), at->file_size(gone), at->last_write_time(gone)};
        if (!gone) files.push_back(file);
    }
    std::sort(files.begin(), files.end(), [](const File& a, const File& b) { return a.written > b.written; });
    return files;
}

}  // namespace

void removeOldHistories(const std::string& folder, const std::string& open, std::uintmax_t mostBytes, QMutex& mutex) {
    std::uintmax_t bytes = 0;
    for (const File& file : newestFirst(folder)) {
        bytes += file.bytes;
        if (bytes <= mostBytes || file.path == open) continue;
        const QMutexLocker lock(&mutex);
        std::error_code error;
        if (Journal::endsInSidecar(file.path)) fs::remove(file.path, error);
    }
}

}  // namespace kestrova::studio
