#pragma once

#include <memory>
#include <vector>

namespace kestrova::photo {

/// Writes a PNG file into memory row by row. By libpng: OpenImageIO's writer lets it print when a file is given up.
class PngWriter {
public:
    /// `channels` 1 to 4, `bits` 8 or 16; `icc` is embedded. Throws `Error` of kind input, here and below.
    PngWriter(int width, int height, int channels, int bits, const std::vector<unsigned char>& icc);
    ~PngWriter();
    /// Pixels a metre, across and down.
    void setResolution(unsigned x, unsigned y);
    /// Packed values, of 16 bits in the machine's order.
    void write(const unsigned char* row);
    /// After the last row.
    std::vector<unsigned char> finish();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

}  // namespace kestrova::photo
