#include "develop/plan.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <set>

#include "photo/error.h"
#include "photo/file_format.h"

namespace kestrova::develop {

namespace {

namespace fs = std::filesystem;
using photo::Error;

// A photograph, and its name under the folder for results; or a folder that cannot be read.
struct Found {
    fs::path path;
    fs::path below;
    std::string trouble{};
};

// Without what is in the folder for results, which would be developed again by the next run.
void searchFolder(const fs::path& top, const std::string& results, std::vector<Found>& found) {
    std::error_code ignored;
    const fs::path without = results.empty() ? fs::path() : fs::weakly_canonical(results, ignored);
    std::vector<Found> inside;
    std::vector<fs::path> folders = {top};
    while (!folders.empty()) {
        const fs::path folder = folders.back();
        folders.pop_back();
        std::error_code error;
        for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
            const fs::path& path = at->path();
            // Links to folders are not followed: they may lead in a circle.
            if (at->is_directory(ignored)) {
                const bool holdsResults = !without.empty() && fs::canonical(path, ignored) == without;
                if (!at->is_symlink(ignored) && !holdsResults) folders.push_back(path);
            } else if (at->is_regular_file(ignored) && photo::hasPhotographName(path.string())) {
                inside.push_back({path, path.lexically_relative(top)});
            }
        }
        if (error) inside.push_back({folder, {}, folder.string() + ": " + error.message()});
    }
    std::sort(inside.begin(), inside.end(), [](const Found& a, const Found& b) { return a.path < b.path; });
    found.insert(found.end(), inside.begin(), inside.end());
}

// Lists that were written on Windows end their lines with a carriage return, too.
void dropCarriageReturn(std::string& name) {
    std::error_code error;
    if (!name.empty() && name.back() == '\r' && !fs::exists(name, error)) name.pop_back();
}

std::vector<std::string> namesIn(const std::string& list) {
    std::ifstream file;
    if (list != "-") {
        file.open(list);
        if (!file) throw Error(Error::Kind::file, list + ": cannot be opened");
    }
    std::istream& stream = list == "-" ? std::cin : file;
    std::vector<std::string> names;
    for (std::string line; std::getline(stream, line);) {
        dropCarriageReturn(line);
        if (!line.empty()) names.push_back(line);
    }
    if (stream.bad()) throw Error(Error::Kind::file, list + ": cannot be read");
    return names;
}

void keepFolders(std::vector<Found>& found, const std::string& base) {
    const fs::path from = fs::absolute(base).lexically_normal();
    for (Found& f : found) {
        if (!f.trouble.empty()) continue;
        f.below = fs::absolute(f.path).lexically_normal().lexically_relative(from);
        if (f.below.empty() || *f.below.begin() == "..")
            throw Error(Error::Kind::input, f.path.string() + ": is not below " + base);
    }
}

std::vector<Found> findAll(const Options& options) {
    std::vector<std::string> names = options.inputs;
    if (!options.list.empty()) {
        const std::vector<std::string> more = namesIn(options.list);
        names.insert(names.end(), more.begin(), more.end());
    }
    std::vector<Found> found;
    for (const std::string& name : names) {
        std::error_code error;
        if (fs::is_directory(name, error))
            searchFolder(name, options.folder, found);
        else
            found.push_back({name, fs::path(name).filename()});
    }
    std::set<fs::path> seen;
    found.erase(std::remove_if(found.begin(), found.end(),
                               [&](const Found& f) { return !seen.insert(f.path.lexically_normal()).second; }),
                found.end());
    if (!options.base.empty()) keepFolders(found, options.base);
    return found;
}

const char* extensionOf(photo::FileFormat format) {
    switch (format) {
        case photo::FileFormat::png: return ".png";
        case photo::FileFormat::tiff: return ".tif";
        case photo::FileFormat::webp: return ".webp";
        default: return ".jpg";
    }
}

// What a name below the folder for results becomes: the same if it may be written in its own format.
fs::path renamed(const fs::path& name, const Options& options) {
    const auto own = photo::writtenFormat(name.string());
    if (own && (!options.format || *options.format == *own)) return name;
    std::string extension = name.extension().string();
    for (char& c : extension)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    constexpr const char* kDeep[] = {".exr", ".jp2", ".j2k", ".j2c", ".jpf", ".jpx"};
    const bool deep = std::find(std::begin(kDeep), std::end(kDeep), extension) != std::end(kDeep);
    const photo::FileFormat format = options.format.value_or(deep ? photo::FileFormat::tiff : photo::FileFormat::jpeg);
    return fs::path(name).replace_extension(extensionOf(format));
}

std::vector<Task> tasksInFolder(const std::vector<Found>& found, const Options& options) {
    const fs::path folder = options.folder;
    std::map<fs::path, int> uses;
    for (const Found& f : found)
        if (f.trouble.empty()) ++uses[renamed(f.below, options)];
    std::vector<Task> tasks;
    std::map<fs::path, fs::path> taken;
    for (const Found& f : found) {
        if (!f.trouble.empty()) {
            tasks.push_back({f.path.string(), {}, f.trouble});
            continue;
        }
        fs::path name = renamed(f.below, options);
        // A camera's a.jpg and a.nef: the one whose ending changes keeps its whole name.
        if (uses[name] > 1 && name != f.below) name = f.below.string() + name.extension().string();
        const auto [place, fresh] = taken.emplace(name, f.path);
        if (!fresh)
            throw Error(Error::Kind::input, place->second.string() + " and " + f.path.string() + " would both become " +
                                                (folder / name).string());
        tasks.push_back({f.path.string(), (folder / name).string()});
    }
    return tasks;
}

// A photograph that several links lead to is developed once.
std::vector<Task> tasksInPlace(const std::vector<Found>& found, const Options& options) {
    std::vector<Task> tasks;
    std::set<fs::path> files;
    for (const Found& f : found) {
        const std::string path = f.path.string();
        if (!f.trouble.empty()) {
            tasks.push_back({path, {}, f.trouble});
            continue;
        }
        const auto own = photo::writtenFormat(path);
        if (!own || (options.format && *options.format != *own))
            throw Error(Error::Kind::input, path + ": cannot be replaced in a format of its name");
        std::error_code error;
        const fs::path real = fs::canonical(f.path, error);
        if (error || files.insert(real).second) tasks.push_back({path, path});
    }
    return tasks;
}

bool sameFile(const std::string& a, const std::string& b) {
    std::error_code error;
    return fs::equivalent(a, b, error) && !error;
}

// A folder for results is made where it is missing: the nearest one that is there has to allow that.
void checkFolder(fs::path folder) {
    std::error_code error;
    while (folder.has_relative_path() && fs::status(folder, error).type() == fs::file_type::not_found)
        folder = folder.parent_path();
    if (folder.empty()) folder = ".";
    if (!fs::is_directory(folder, error)) throw Error(Error::Kind::file, folder.string() + ": is no folder");
    if (::access(folder.c_str(), W_OK | X_OK) != 0)
        throw Error(Error::Kind::file, folder.string() + ": " + std::strerror(errno));
}

// `mine` are the tasks of this shard: results of others may be there already. No task may replace any input.
void checkTargets(const std::vector<Task>& tasks, const std::vector<Task>& mine, const Options& options) {
    photo::WriteOptions write;
    write.format = options.format;
    write.bits = options.bits;
    write.quality = options.quality;
    std::set<fs::path> inputFiles;
    for (const Task& task : tasks) {
        std::error_code error;
        const fs::path real = fs::canonical(task.input, error);
        if (!error) inputFiles.insert(real);
    }
    if (!options.folder.empty()) checkFolder(options.folder);
    for (const Task& task : mine) {
        if (!task.trouble.empty()) continue;
        std::error_code error;
        const fs::path real = fs::canonical(task.output, error);
        const bool there = !error;
        if (!options.inPlace && there && (inputFiles.count(real) || sameFile(task.input, task.output)))
            throw Error(Error::Kind::input,
                        task.output + ": is one of the originals, which are replaced with --in-place alone");
        if (!options.inPlace && there && fs::is_regular_file(real, error) && !options.overwrite &&
            !options.skipExisting)
            throw Error(Error::Kind::input, task.output +
                                                ": is there already; --overwrite replaces it, --skip-existing "
                                                "leaves it if it is up to date");
        const fs::path folder = fs::path(task.output).parent_path();
        if (there || options.folder.empty() || fs::exists(folder, error)) {
            photo::checkWritable(task.output, write);
        } else if (!photo::writtenFormat(task.output)) {
            throw Error(Error::Kind::input, task.output + ": no format that is written");
        } else if (options.bits == 16) {
            const photo::FileFormat format = *photo::writtenFormat(task.output);
            if (format == photo::FileFormat::jpeg || format == photo::FileFormat::webp)
                throw Error(Error::Kind::input,
                            std::string(photo::formatName(format)) + " does not hold 16 bits a channel");
        }
    }
}

// A photograph in the place of the settings' name would be lost.
void checkSavedSettings(const std::string& path) {
    std::error_code error;
    if (path.empty() || !fs::is_regular_file(path, error)) return;
    try {
        photo::Settings::load(path);
    } catch (const Error& failure) {
        if (failure.kind() != Error::Kind::input) throw;
        throw Error(Error::Kind::input, path + ": is there already and holds no settings");
    }
}

}  // namespace

std::vector<Task> planTasks(const Options& options) {
    const std::vector<Found> found = findAll(options);
    const auto unreadable = std::find_if(found.begin(), found.end(), [](const Found& f) { return !f.trouble.empty(); });
    if (unreadable != found.end() && (options.shards > 1 || !options.output.empty()))
        throw Error(Error::Kind::file, unreadable->trouble);
    std::vector<Task> tasks;
    if (!options.output.empty()) {
        if (found.size() != 1)
            throw Error(Error::Kind::input,
                        "-o takes one photograph, not " + std::to_string(found.size()) + "; -d takes many");
        tasks.push_back({found[0].path.string(), options.output});
    } else if (options.inPlace) {
        tasks = tasksInPlace(found, options);
    } else {
        tasks = tasksInFolder(found, options);
    }
    if (tasks.empty()) throw Error(Error::Kind::input, "no photographs were found");
    std::vector<Task> mine;
    for (std::size_t i = 0; i < tasks.size(); ++i)
        if (static_cast<int>(i % options.shards) == options.shard - 1) mine.push_back(tasks[i]);
    checkTargets(tasks, mine, options);
    checkSavedSettings(options.saveSettings);
    return mine;
}

}  // namespace kestrova::develop
