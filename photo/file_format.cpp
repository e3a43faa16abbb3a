#include "photo/file_format.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <vector>

#include "photo/descriptor.h"
#include "photo/error.h"

namespace kestrova::photo {

namespace {

using namespace std::string_view_literals;

constexpr std::array kRawExtensions = {"3fr"sv, "arw"sv, "cr2"sv, "cr3"sv, "crw"sv, "dcr"sv, "dng"sv, "erf"sv, "fff"sv,
                                       "iiq"sv, "k25"sv, "kdc"sv, "mef"sv, "mos"sv, "mrw"sv, "nef"sv, "nrw"sv, "orf"sv,
                                       "pef"sv, "raf"sv, "raw"sv, "rw2"sv, "rwl"sv, "sr2"sv, "srf"sv, "srw"sv, "x3f"sv};
constexpr std::array kOtherExtensions = {"jpg"sv,  "jpeg"sv, "jpe"sv, "png"sv, "tif"sv, "tiff"sv, "webp"sv, "heic"sv,
                                         "heif"sv, "avif"sv, "jp2"sv, "j2k"sv, "j2c"sv, "jpf"sv,  "jpx"sv,  "exr"sv};

std::string extension(const std::string& path) {
    const std::size_t dot = path.find_last_of("./");
    if (dot == std::string::npos || path[dot] == '/') return {};
    std::string name = path.substr(dot + 1);
    for (char& c : name)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return name;
}

template <class List>
bool contains(const List& list, const std::string& word) {
    return std::find(list.begin(), list.end(), word) != list.end();
}

// The bytes at the start of a file, read past their end as zeros.
class Head {
public:
    Head(const unsigned char* bytes, std::size_t size) : m_bytes(bytes), m_size(size) {}

    bool has(std::size_t at, std::string_view text) const {
        return at + text.size() <= m_size && std::memcmp(m_bytes + at, text.data(), text.size()) == 0;
    }
    unsigned byte(std::size_t at) const { return at < m_size ? m_bytes[at] : 0; }
    unsigned big16(std::size_t at) const { return byte(at) << 8 | byte(at + 1); }
    std::uint32_t big32(std::size_t at) const { return std::uint32_t(big16(at)) << 16 | big16(at + 2); }
    unsigned little16(std::size_t at) const { return byte(at) | byte(at + 1) << 8; }
    std::uint32_t little32(std::size_t at) const { return little16(at) | std::uint32_t(little16(at + 2)) << 16; }
    std::size_t size() const { return m_size; }

private:
    const unsigned char* m_bytes;
    std::size_t m_size;
};

struct Size {
    std::uint32_t width = 0, height = 0;
};

Size jpegSize(const Head& head) {
    for (std::size_t at = 2; at + 9 < head.size();) {
        if (head.byte(at) != 0xff) return {};
        const unsigned marker = head.byte(at + 1);
        if (marker == 0xff) {
            ++at;
            continue;
        }
        const bool frame = marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc;
        if (frame) return {head.big16(at + 7), head.big16(at + 5)};
        at += 2 + head.big16(at + 2);
    }
    return {};
}

Size webpSize(const Head& head) {
    if (head.has(12, "VP8X")) return {(head.little32(24) & 0xffffff) + 1, (head.little32(27) & 0xffffff) + 1};
    if (head.has(12, "VP8L")) {
        const std::uint32_t bits = head.little32(21);
        return {(bits & 0x3fff) + 1, (bits >> 14 & 0x3fff) + 1};
    }
    return {head.little16(26) & 0x3fff, head.little16(28) & 0x3fff};
}

// The largest image among those that a container declares, whose sizes stand `from` bytes behind a mark.
Size largestAfter(const Head& head, std::string_view mark, std::size_t from) {
    Size largest;
    for (std::size_t at = 0; at + mark.size() + from + 8 <= head.size(); ++at) {
        if (!head.has(at, mark)) continue;
        const Size size = {head.big32(at + mark.size() + from), head.big32(at + mark.size() + from + 4)};
        if (std::uint64_t(size.width) * size.height > std::uint64_t(largest.width) * largest.height) largest = size;
    }
    return largest;
}

// Width and height among the first directory's entries; `dng` is set if it declares a DNG.
Size tiffSize(const Head& head, bool& dng) {
    const bool little = head.byte(0) == 'I';
    const auto u16 = [&](std::size_t at) { return little ? head.little16(at) : head.big16(at); };
    const auto u32 = [&](std::size_t at) { return little ? head.little32(at) : head.big32(at); };
    if (u16(2) != 42) return {};
    const std::size_t directory = u32(4);
    Size size;
    for (unsigned i = 0, n = u16(directory); i < n; ++i) {
        const std::size_t entry = directory + 2 + 12 * std::size_t(i);
        const std::uint32_t value = u16(entry + 2) == 3 ? u16(entry + 8) : u32(entry + 8);
        if (u16(entry) == 256) size.width = value;
        if (u16(entry) == 257) size.height = value;
        if (u16(entry) == 50706) dng = true;
    }
    return size;
}

bool isHeif(const Head& head) {
    constexpr std::array brands = {"heic"sv, "heix"sv, "heim"sv, "heis"sv, "hevc"sv,
                                   "mif1"sv, "msf1"sv, "avif"sv, "avis"sv};
    return head.has(4, "ftyp") &&
           std::any_of(brands.begin(), brands.end(), [&](std::string_view brand) { return head.has(8, brand); });
}

bool isRawOnly(const Head& head) {
    return head.has(0, "FUJIFILMCCD-RAW") || head.has(0, "IIRO") || head.has(0, "IIRS") || head.has(0, "MMOR") ||
           head.has(0, "IIU\0"sv) || head.has(6, "HEAPCCDR") || head.has(0, "FOVb") || head.has(0, "\0MRM"sv) ||
           (head.has(4, "ftypcrx "));
}

// What a header says may exceed int; no limit lets such a picture through.
int bounded(std::uint32_t length) { return static_cast<int>(std::min<std::uint32_t>(length, 0x7fffffff)); }

FileFacts recognise(const Head& head, const std::string& path) {
    FileFacts facts;
    Size size;
    const bool rawName = contains(kRawExtensions, extension(path));
    const bool tiff =
        head.has(0, "II*\0"sv) || head.has(0, "MM\0*"sv) || head.has(0, "II+\0"sv) || head.has(0, "MM\0+"sv);
    if (head.has(0, "\xff\xd8\xff")) {
        facts.format = FileFormat::jpeg;
        size = jpegSize(head);
    } else if (head.has(0, "\x89PNG\r\n\x1a\n")) {
        facts.format = FileFormat::png;
        size = {head.big32(16), head.big32(20)};
    } else if (head.has(0, "RIFF") && head.has(8, "WEBP")) {
        facts.format = FileFormat::webp;
        size = webpSize(head);
    } else if (tiff) {
        bool dng = false;
        size = tiffSize(head, dng);
        facts.format = dng || rawName ? FileFormat::raw : FileFormat::tiff;
        if (facts.format == FileFormat::raw) size = {};  // the first directory of a RAW file may hold a preview
    } else if (head.has(0, "\x76\x2f\x31\x01")) {
        facts.format = FileFormat::openexr;
    } else if (head.has(0, "\0\0\0\x0cjP  \r\n\x87\n"sv) || head.has(0, "\xff\x4f\xff\x51")) {
        facts.format = FileFormat::jpeg2000;
        size = largestAfter(head, "\xff\x4f\xff\x51", 4);
    } else if (isHeif(head)) {
        facts.format = FileFormat::heif;
        size = largestAfter(head, "ispe", 4);
    } else if (isRawOnly(head) || rawName) {
        facts.format = FileFormat::raw;
    } else {
        throw Error(Error::Kind::input, path + ": not a photograph of a known format");
    }
    facts.width = bounded(size.width);
    facts.height = bounded(size.height);
    return facts;
}

}  // namespace

FileFacts examineFile(const std::string& path) {
    // Without O_NONBLOCK, opening a pipe that nobody writes to would wait.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file) throw Error(Error::Kind::file, path + ": " + std::strerror(errno));
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) throw Error(Error::Kind::file, path + ": " + std::strerror(errno));
    if (S_ISDIR(status.st_mode)) throw Error(Error::Kind::input, path + ": is a folder");
    if (!S_ISREG(status.st_mode)) throw Error(Error::Kind::input, path + ": is not a regular file");
    if (status.st_size == 0) throw Error(Error::Kind::input, path + ": is empty");

    // Metadata in front of the size of a JPEG, or the boxes of a HEIF file, may take this much.
    constexpr std::size_t kMost = 4 << 20;
    std::vector<unsigned char> bytes(static_cast<std::size_t>(std::min<off_t>(status.st_size, kMost)));
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t got = ::read(file.get(), bytes.data() + filled, bytes.size() - filled);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) throw Error(Error::Kind::file, path + ": " + std::strerror(errno));
        if (got == 0) break;
        filled += static_cast<std::size_t>(got);
    }
    FileFacts facts = recognise(Head(bytes.data(), filled), path);
    facts.bytes = static_cast<std::uintmax_t>(status.st_size);
    return facts;
}

bool hasPhotographName(const std::string& path) {
    const std::string name = extension(path);
    return contains(kOtherExtensions, name) || contains(kRawExtensions, name);
}

const char* formatName(FileFormat format) {
    switch (format) {
        case FileFormat::jpeg: return "JPEG";
        case FileFormat::png: return "PNG";
        case FileFormat::tiff: return "TIFF";
        case FileFormat::webp: return "WebP";
        case FileFormat::heif: return "HEIF";
        case FileFormat::jpeg2000: return "JPEG 2000";
        case FileFormat::openexr: return "OpenEXR";
        case FileFormat::raw: return "RAW";
    }
    return "";
}

}  // namespace kestrova::photo
