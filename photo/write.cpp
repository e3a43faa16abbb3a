#include "photo/write.h"

#include <new>

#include "photo/encode.h"
#include "photo/error.h"
#include "photo/metadata_data.h"
#include "photo/named_error.h"
#include "photo/replace_file.h"

namespace kestrova::photo {

namespace {

FileFormat chosenFormat(const std::string& path, const WriteOptions& options) {
    if (options.format) return *options.format;
    const auto format = writtenFormat(path);
    if (!format)
        throw Error(Error::Kind::input, path + ": the name ends in none of .jpg, .jpeg, .png, .tif, .tiff, .webp");
    return *format;
}

bool holds16Bits(FileFormat format) { return format == FileFormat::png || format == FileFormat::tiff; }

void checkOptions(FileFormat format, const WriteOptions& options) {
    const auto refuse = [](const std::string& reason) { throw Error(Error::Kind::input, reason); };
    if (options.quality < 1 || options.quality > 100) refuse("the quality is from 1 to 100");
    if (options.bits != 0 && options.bits != 8 && options.bits != 16)
        refuse("files are written with 8 or 16 bits a channel");
    if (options.bits == 16 && !holds16Bits(format))
        refuse(std::string(formatName(format)) + " does not hold 16 bits a channel");
}

}  // namespace

std::optional<FileFormat> writtenFormat(const std::string& path) {
    const std::size_t dot = path.find_last_of("./");
    if (dot == std::string::npos || path[dot] == '/') return std::nullopt;
    std::string extension = path.substr(dot + 1);
    for (char& c : extension)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (extension == "jpg" || extension == "jpeg") return FileFormat::jpeg;
    if (extension == "png") return FileFormat::png;
    if (extension == "tif" || extension == "tiff") return FileFormat::tiff;
    if (extension == "webp") return FileFormat::webp;
    return std::nullopt;
}

void checkWritable(const std::string& path, const WriteOptions& options) {
    checkOptions(chosenFormat(path, options), options);
    checkTarget(path);
}

namespace {

WriteReport write(const Photograph& photograph, const std::string& path, const WriteOptions& options,
                  Existing existing) {
    const int type = photograph.pixels.type();
    if ((type != CV_16UC4 && type != CV_8UC4) || photograph.pixels.empty())
        throw Error(Error::Kind::programming, "a photograph's pixels are CV_16UC4, or CV_8UC4 to be written");
    const FileFormat format = chosenFormat(path, options);
    checkWritable(path, options);
    const int own = photograph.sourceBits > 8 && holds16Bits(format) ? 16 : 8;
    try {
        WriteReport report;
        MetadataRequest request;
        std::vector<unsigned char> bytes =
            encode(photograph, format, options.bits ? options.bits : own, options, request.profile, report.notes);
        request.metadata = photograph.metadata.get();
        request.choice = options.metadata;
        request.width = photograph.pixels.cols;
        request.height = photograph.pixels.rows;
        request.key = options.key;
        embedMetadata(bytes, format, request, report.notes);
        replaceFile(path, bytes, options.cancel, existing);
        report.bytes = bytes.size();
        return report;
    } catch (const Error& error) {
        throw named(error, path);
    } catch (const std::bad_alloc&) {
        throw Error(Error::Kind::memory, path + ": not enough memory to write it");
    } catch (const cv::Exception&) {
        throw Error(Error::Kind::memory, path + ": not enough memory to write it");
    }
}

}  // namespace

WriteReport writePhotograph(const Photograph& photograph, const std::string& path, const WriteOptions& options) {
    return write(photograph, path, options, Existing::replaced);
}

WriteReport writeNewPhotograph(const Photograph& photograph, const std::string& path, const WriteOptions& options) {
    return write(photograph, path, options, Existing::refused);
}

}  // namespace kestrova::photo
