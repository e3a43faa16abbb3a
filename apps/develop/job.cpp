#include "develop/job.h"

#include <chrono>
#include <filesystem>
#include <new>

#include "develop/key.h"
#include "photo/development.h"
#include "photo/error.h"
#include "photo/metadata.h"
#include "photo/read.h"

namespace kestrova::develop {

namespace {

namespace fs = std::filesystem;
using photo::Error;

// Shares of the time that a photograph takes.
constexpr double kRead = 0.2, kRendered = 0.75;

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

// What the writer gets of the photograph that was read besides its pixels, and the profile to render in.
struct Frame {
    photo::Photograph photograph;
    photo::Profile rendered;
};

Frame frameOf(const photo::Photograph& read, const Options& options) {
    Frame frame;
    frame.photograph = read;
    frame.photograph.pixels.release();
    frame.photograph.notes.clear();
    if (options.profile) {
        frame.rendered = frame.photograph.outputProfile = *options.profile;
    } else {
        const bool rgb = read.outputProfile.channels() == 3;
        frame.rendered = rgb ? read.outputProfile : read.profile;
    }
    frame.photograph.profile = frame.rendered;
    return frame;
}

// What of the settings chooses the view and changes nothing in it.
photo::Settings geometryOf(const photo::Settings& settings) {
    photo::Settings geometry;
    geometry.rotate = settings.rotate;
    geometry.straighten = settings.straighten;
    geometry.crop = settings.crop;
    geometry.size = settings.size;
    return geometry;
}

// With a white gap in between.
cv::Mat sideBySide(const cv::Mat& before, const cv::Mat& after) {
    const cv::Mat gap(before.rows, before.cols / 50, before.type(),
                      cv::Scalar::all(before.depth() == CV_8U ? 255 : 65535));
    cv::Mat both(before.rows, before.cols + gap.cols + after.cols, before.type());
    before.copyTo(both.colRange(0, before.cols));
    gap.copyTo(both.colRange(before.cols, before.cols + gap.cols));
    after.copyTo(both.colRange(before.cols + gap.cols, both.cols));
    return both;
}

Outcome develop(const Task& task, const Options& options, photo::Control& control) {
    Outcome outcome;
    const auto format = options.format ? *options.format : photo::writtenFormat(task.output).value();
    const photo::Settings settings = settingsFor(task, options);
    photo::examineFile(task.input);
    std::string key;
    if (options.skipExisting || (!options.dryRun && options.metadata != photo::MetadataChoice::none))
        key = keyOf(task.input, settings, format, options);
    if (options.skipExisting && isUpToDate(task, key, options)) {
        outcome.kind = Outcome::Kind::skipped;
        return outcome;
    }
    if (options.dryRun) {
        outcome.kind = Outcome::Kind::planned;
        return outcome;
    }

    const std::size_t memory = options.maxMemory / options.jobs;
    photo::ReadOptions reading;
    reading.maxMegapixels = options.maxMegapixels;
    reading.maxMemory = memory;
    reading.threads = options.threads;
    reading.cancel = control.flag();
    photo::Photograph photograph = photo::readPhotograph(task.input, reading);
    outcome.notes = photograph.notes;
    const auto report = control.progress;
    if (report) report(kRead);

    Frame frame = frameOf(photograph, options);
    const bool deep = options.bits ? options.bits == 16
                                   : photograph.sourceBits > 8 &&
                                         (format == photo::FileFormat::png || format == photo::FileFormat::tiff);
    const std::size_t own = photograph.pixels.total() * photograph.pixels.elemSize();
    photo::Development::Options bounds;
    bounds.threads = options.threads;
    bounds.keptForView = 0;
    if (memory) bounds.mostMemory = memory > own ? memory - own : 1;
    {
        photo::Development development(std::move(photograph), bounds);
        development.set(settings);
        if (report) control.progress = [&](double share) { report(kRead + share * (kRendered - kRead)); };
        photo::Development::Output output;
        output.bits = deep ? 16 : 8;
        output.profile = frame.rendered;
        frame.photograph.pixels = development.render(output, &control).pixels;
        if (options.compare) {
            development.set(geometryOf(settings));
            frame.photograph.pixels = sideBySide(development.render(output, &control).pixels, frame.photograph.pixels);
        }
    }

    photo::WriteOptions writing;
    writing.format = format;
    writing.bits = deep ? 16 : 8;
    writing.quality = options.quality;
    writing.metadata = options.metadata;
    writing.key = key;
    writing.threads = options.threads;
    writing.cancel = control.flag();
    const fs::path folder = fs::path(task.output).parent_path();
    std::error_code error;
    if (!folder.empty() && !fs::create_directories(folder, error) && error)
        throw Error(Error::Kind::file, folder.string() + ": " + error.message());
    const photo::WriteReport written = photo::writePhotograph(frame.photograph, task.output, writing);
    outcome.bytes = written.bytes;
    outcome.notes.insert(outcome.notes.end(), written.notes.begin(), written.notes.end());
    if (report) report(1);
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
