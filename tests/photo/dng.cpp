#include "tests/photo/dng.h"

#include <tiffio.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

namespace kestrova::photo {

void makeDng(const std::string& path, int orientation) {
    constexpr int kWidth = 128, kHeight = 96;
    TIFF* tiff = TIFFOpen(path.c_str(), "w");
    if (!tiff) throw std::runtime_error("cannot write " + path);
    const float matrix[9] = {3.2404542f, -1.5371385f, -0.4985314f, -0.9692660f, 1.8760108f,
                             0.0415560f, 0.0556434f,  -0.2040259f, 1.0572252f};
    const float neutral[3] = {0.5f, 1, 0.8f};
    const std::uint8_t version[4] = {1, 4, 0, 0}, backward[4] = {1, 1, 0, 0}, pattern[4] = {0, 1, 1, 2};
    const std::uint16_t repeat[2] = {2, 2};
    const std::uint32_t white = 65535;
    TIFFSetField(tiff, TIFFTAG_SUBFILETYPE, 0);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kWidth);
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kHeight);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_CFA);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, orientation);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kHeight);
    TIFFSetField(tiff, TIFFTAG_MAKE, "Kestrova");
    TIFFSetField(tiff, TIFFTAG_MODEL, "Test");
    TIFFSetField(tiff, TIFFTAG_CFAREPEATPATTERNDIM, repeat);
    TIFFSetField(tiff, TIFFTAG_CFAPATTERN, 4, pattern);
    TIFFSetField(tiff, TIFFTAG_DNGVERSION, version);
    TIFFSetField(tiff, TIFFTAG_DNGBACKWARDVERSION, backward);
    TIFFSetField(tiff, TIFFTAG_UNIQUECAMERAMODEL, "Kestrova Test");
    TIFFSetField(tiff, TIFFTAG_COLORMATRIX1, 9, matrix);
    TIFFSetField(tiff, TIFFTAG_ASSHOTNEUTRAL, 3, neutral);
    TIFFSetField(tiff, TIFFTAG_CALIBRATIONILLUMINANT1, 21);
    TIFFSetField(tiff, TIFFTAG_WHITELEVEL, 1, &white);
    std::vector<std::uint16_t> row(kWidth);
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            const float filter = neutral[y % 2 + x % 2];
            row[x] = static_cast<std::uint16_t>(65535 * filter * (x < kWidth / 2 ? 0.1f : 0.4f));
        }
        TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(y), 0);
    }
    TIFFClose(tiff);
}

}  // namespace kestrova::photo
