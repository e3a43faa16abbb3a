#include "develop/job.h"

#include <chrono>
#include <filesystem>
#include <new>

#include "photo/develop_file.h"
#include "photo/error.h"
#include "photo/file_format.h"
#include "photo/metadata.h"

namespace kestrova::develop {

namespace {

namespace fs = std::filesystem;
using photo::Error;

photo::Settings settingsFor(const Task& task, const Options& options) {
    const std::string sidecar = photo::Settings::sidecarOf(task.input);
    std::error_code error;
    if (!options.sidecars || !fs::exists(sidecar, error)) return options.settings;
    photo::Settings settings = photo::Settings::load(sidecar);
    for (const auto& [name, value] : options.sliders) photo::slider(name).of(settings) = value;
    if (options.size) settings.size = *options.size;
    settings.check();
    return settings;
}

// Whether the result is there and made of the same; throws if it is there and not this program's.
bool isUpToDate(const Task& task, const std::string& key, const Options& options) {
    std::error_code error;
    if (!fs::exists(task.output, error)) return false;
    std::string there;
    try {
        const auto metadata = photo::Metadata::fromFile(task.output);
        if (metadata) there = metadata->text("Xmp.kestrova.Key");
    } catch (const Error&) {  // no picture, so not one of this program's
    }
    if (there.empty() && !options.overwrite)
        throw Error(Error::Kind::input, task.output + ": is there already and was not made by this program");
    return there == key;
}

photo::DevelopFileOptions fileOptions(const Options& options) {
    photo::DevelopFileOptions file;
    file.format = options.format;
    file.bits = options.bits;
    file.quality = options.quality;
    file.profile = options.profile;
    file.metadata = options.metadata;
    file.compare = options.compare;
    file.threads = options.threads;
    file.maxMemory = options.maxMemory / options.jobs;
    file.maxMegapixels = options.maxMegapixels;
    return file;
}

Outcome develop(const Task& task, const Options& options, photo::Control& control) {
    Outcome outcome;
    if (!task.trouble.empty()) throw Error(Error::Kind::file, task.trouble);
    photo::DevelopFileOptions file = fileOptions(options);
    const photo::Settings settings = settingsFor(task, options);
    photo::examineFile(task.input);
    const auto skips = [&] {
        if (!options.skipExisting || !isUpToDate(task, file.key, options)) return false;
        outcome.kind = Outcome::Kind::skipped;
        return true;
    };
    if (options.skipExisting) file.key = photo::developFileKey(task.input, settings, task.output, file);
    std::error_code error;
    const bool replaces =
        options.inPlace || options.overwrite || (options.skipExisting && fs::exists(task.output, error));
    if (skips()) return outcome;
    if (options.dryRun) {
        outcome.kind = Outcome::Kind::planned;
        return outcome;
    }
    const auto develop = replaces ? photo::developFile : photo::developToNewFile;
    try {
        const photo::WriteReport written = develop(task.input, settings, task.output, file, &control);
        outcome.bytes = written.bytes;
        outcome.notes = written.notes;
    } catch (const Error&) {
        if (replaces || control.cancelled() || !skips()) throw;  // unless another process has made the same meanwhile
    }
    return outcome;
}

Outcome failure(ExitCode code, const std::string& message) {
    Outcome outcome;
    outcome.kind = code == kCancelled ? Outcome::Kind::cancelled : Outcome::Kind::failed;
    outcome.code = code;
    outcome.error = message;
    return outcome;
}

}  // namespace

Outcome doTask(const Task& task, const Options& options, photo::Control& control) {
    const auto begin = std::chrono::steady_clock::now();
    Outcome outcome;
    try {
        outcome = develop(task, options, control);
    } catch (const Error& error) {
        outcome = failure(exitCodeOf(error.kind()), error.what());
    } catch (const std::bad_alloc&) {
        outcome = failure(kMemory, task.input + ": there is not enough memory");
    } catch (const std::exception& error) {
        outcome = failure(kInput, task.input + ": " + error.what());
    }
    outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return outcome;
}

}  // namespace kestrova::develop
