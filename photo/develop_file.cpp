#include "photo/develop_file.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

#include "photo/development.h"
#include "photo/error.h"
#include "photo/named_error.h"
#include "photo/read.h"

namespace kestrova::photo {

namespace {

namespace fs = std::filesystem;

// Shares of the time that a photograph takes.
constexpr double kRead = 0.2, kRendered = 0.75;

// FNV-1a over two states with different starts: 128 bits against mistaking one photograph for another, not against
// people who try to.
class Hash {
public:
    void add(const char* bytes, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            m_one = (m_one ^ static_cast<unsigned char>(bytes[i])) * 0x100000001b3ull;
            m_two = (m_two ^ static_cast<unsigned char>(bytes[i] + 1)) * 0x100000001b3ull;
        }
    }
    void add(const std::string& text) { add(text.c_str(), text.size() + 1); }
    std::string text() const {
        char text[33];
        std::snprintf(text, sizeof text, "%016llx%016llx", static_cast<unsigned long long>(m_one),
                      static_cast<unsigned long long>(m_two));
        return text;
    }

private:
    std::uint64_t m_one = 0xcbf29ce484222325ull, m_two = 0x84222325cbf29ce4ull;
};

FileFormat formatOf(const std::string& output, const DevelopFileOptions& options) {
    const auto format = options.format ? options.format : writtenFormat(output);
    if (!format) throw Error(Error::Kind::input, output + ": no format that is written");
    return *format;
}

// What the writer gets of the photograph that was read besides its pixels, and the profile to render in.
struct Frame {
    Photograph photograph;
    Profile rendered;
};

Frame frameOf(const Photograph& read, const DevelopFileOptions& options) {
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
Settings geometryOf(const Settings& settings) {
    Settings geometry;
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

// While it lives, a control's progress is that of a part of the work.
class ProgressOfPart {
public:
    ProgressOfPart(Control& control, double from, double to) : m_control(control), m_whole(control.progress) {
        if (m_whole) control.progress = [this, from, to](double share) { m_whole(from + share * (to - from)); };
    }
    ~ProgressOfPart() { m_control.progress = m_whole; }
    ProgressOfPart(const ProgressOfPart&) = delete;
    ProgressOfPart& operator=(const ProgressOfPart&) = delete;

private:
    Control& m_control;
    const std::function<void(double)> m_whole;
};

bool isDeep(const Photograph& photograph, FileFormat format, const DevelopFileOptions& options) {
    if (options.bits) return options.bits == 16;
    return photograph.sourceBits > 8 && (format == FileFormat::png || format == FileFormat::tiff);
}

}  // namespace

std::string developFileKey(const std::string& input, const Settings& settings, const std::string& output,
                           const DevelopFileOptions& options) {
    Hash hash;
    hash.add(KESTROVA_VERSION);
    hash.add(settings.toJson());
    hash.add(std::string(formatName(formatOf(output, options))) + ' ' + std::to_string(options.bits) + ' ' +
             std::to_string(options.quality) + ' ' + std::to_string(static_cast<int>(options.metadata)) +
             (options.compare ? " compared" : ""));
    if (options.profile) {
        const auto& icc = options.profile->bytes();
        hash.add(reinterpret_cast<const char*>(icc.data()), icc.size());
    }
    std::ifstream file(input, std::ios::binary);
    std::vector<char> piece(1 << 20);
    while (file) {
        file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        hash.add(piece.data(), static_cast<std::size_t>(file.gcount()));
    }
    if (!file.eof()) throw Error(Error::Kind::file, input + ": cannot be read");
    return hash.text();
}

namespace {

using Write = WriteReport(const Photograph& photograph, const std::string& path, const WriteOptions& options);

WriteReport develop(const std::string& input, const Settings& settings, const std::string& output,
                    const DevelopFileOptions& options, Control* control, Write& write) {
    Control none;
    Control& work = control ? *control : none;
    const FileFormat format = formatOf(output, options);
    examineFile(input);

    ReadOptions reading;
    reading.maxMegapixels = options.maxMegapixels;
    reading.maxMemory = options.maxMemory;
    reading.threads = options.threads;
    reading.cancel = work.flag();
    WriteOptions writing;
    writing.format = format;
    writing.quality = options.quality;
    writing.metadata = options.metadata;
    writing.key = options.key;
    if (writing.key.empty() && options.metadata != MetadataChoice::none)
        writing.key = developFileKey(input, settings, output, options);
    writing.threads = options.threads;
    writing.cancel = work.flag();

    Photograph photograph = readPhotograph(input, reading);
    std::vector<std::string> notes = photograph.notes;
    if (work.progress) work.progress(kRead);

    Frame frame = frameOf(photograph, options);
    writing.bits = isDeep(photograph, format, options) ? 16 : 8;
    const std::size_t own = photograph.pixels.total() * photograph.pixels.elemSize();
    Development::Options bounds;
    bounds.threads = options.threads;
    bounds.keptForView = 0;
    if (options.maxMemory) bounds.mostMemory = options.maxMemory > own ? options.maxMemory - own : 1;
    try {
        Development development(std::move(photograph), bounds);
        development.set(settings);
        const ProgressOfPart part(work, kRead, kRendered);
        Development::Output rendering;
        rendering.bits = writing.bits;
        rendering.profile = frame.rendered;
        frame.photograph.pixels = development.render(rendering, &work).pixels;
        if (options.compare) {
            development.set(geometryOf(settings));
            frame.photograph.pixels = sideBySide(development.render(rendering, &work).pixels, frame.photograph.pixels);
        }
    } catch (const Error& error) {
        throw named(error, input);
    }

    const fs::path folder = fs::path(output).parent_path();
    std::error_code error;
    if (!folder.empty() && !fs::create_directories(folder, error) && error)
        throw Error(Error::Kind::file, folder.string() + ": " + error.message());
    WriteReport written = write(frame.photograph, output, writing);
    written.notes.insert(written.notes.begin(), notes.begin(), notes.end());
    if (work.progress) work.progress(1);
    return written;
}

}  // namespace

WriteReport developFile(const std::string& input, const Settings& settings, const std::string& output,
                        const DevelopFileOptions& options, Control* control) {
    return develop(input, settings, output, options, control, writePhotograph);
}

WriteReport developToNewFile(const std::string& input, const Settings& settings, const std::string& output,
                             const DevelopFileOptions& options, Control* control) {
    return develop(input, settings, output, options, control, writeNewPhotograph);
}

}  // namespace kestrova::photo
