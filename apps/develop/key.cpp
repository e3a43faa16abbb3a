#include "develop/key.h"

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <vector>

#include "photo/error.h"

namespace kestrova::develop {

namespace {

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

}  // namespace

std::string keyOf(const std::string& input, const photo::Settings& settings, photo::FileFormat format,
                  const Options& options) {
    Hash hash;
    hash.add(KESTROVA_VERSION);
    hash.add(settings.toJson());
    hash.add(std::string(photo::formatName(format)) + ' ' + std::to_string(options.bits) + ' ' +
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
    if (!file.eof()) throw photo::Error(photo::Error::Kind::file, input + ": cannot be read");
    return hash.text();
}

}  // namespace kestrova::develop
