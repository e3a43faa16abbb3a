#pragma once

#include <opencv2/core.hpp>

#include <memory>

#include "kestrova/export.h"
#include "kestrova/frame/geometry.h"

namespace kestrova::image {
class OutputImage;
struct OwnPlanes;
}  // namespace kestrova::image

/// A thin image of one fixed kind: a plane, a pair of planes, or interleaved colour, in a buffer of its own or in one
/// that belongs to the host (a *view*). Rows lie `step()` bytes apart.
///
/// A picture with alpha is held by three of them in the colour space Y, C, M. With R, G, B on the 16-bit scale
/// 0..65535:
///
///     Y  `IM_Y16U`, full size        0.299 R + 0.587 G + 0.114 B
///     C  `IM_C8U`, `dec2Size` of it  plane 0: mean of (R - Y) / 512 + 128, plane 1: mean of (B - Y) / 512 + 128,
///                                    over 2 by 2 pixels: 128 is no difference, above it more red or blue than grey
///     M  `IM_M8U`, `dec2Size` of it  mean of alpha / 256 over 2 by 2 pixels: 0 transparent, 255 opaque
///
/// Interleaved images hold R, G, B, A in this order; nothing is premultiplied. An 8-bit value v stands for the 16-bit
/// value 257 v. The weights are 32-bit floats; each operation keeps the precision and the order that it states. Where a
/// size is odd, the last row or column of Y, C and M on the way in is not written.
///
/// The copy constructor and `copyFrom` copy pixels, assignment shares them: the last image that shares pixels releases
/// them. A view never releases the host's pixels, which must outlive it. One object serves one thread at a time.
///
/// Failures are texts, caught as `const char*`, and the integer 0, which `halfY8U`, `YCMToRgba16u` and those that call
/// them throw. They leave images and hosts' buffers as they were; so does memory that runs out in a conversion or in
/// `copyFrom` ("ERROR - TImage::... - not enough memory"), and the same call succeeds once there is memory. An image
/// that got no memory from a constructor or from `resize` has null planes, which is no failure until they are used:
/// then the text is "ERROR - TImage - plane==NULL".
class KESTROVA_EXPORT TImage {
public:
    /// What an image holds.
    enum IMTYPE {
        IM_Y16U,     ///< one plane of 16 bits
        IM_C8U,      ///< two planes of 8 bits
        IM_M8U,      ///< one plane of 8 bits
        IM_RGBA8U,   ///< R, G, B, A of 8 bits, interleaved
        IM_RGBA16U,  ///< R, G, B, A of 16 bits, interleaved
    };

    /// An image of its own with undefined pixels; empty (0 by 0) if a side of `size` is below 1. Without memory its
    /// planes are null.
    TImage(IMTYPE type, const TSize& size);
    /// A view of the host's 8-bit pixels R, G, B, A as `IM_RGBA8U`. `data` is the first pixel of the top row, and row r
    /// begins `r * step` bytes from there: a negative step makes a view of rows stored from the bottom to the top. The
    /// view never resizes, copies into or releases the pixels. With `swapRB`, red and blue of the host's pixels are
    /// exchanged at once. Throws "ERROR - TImage::TImage - data==NULL", and "ERROR - TImage::TImage - step<width*pstep"
    /// if |step| is shorter than a row; a single row, of less than 2^31 bytes, may have any step. An empty size asks
    /// nothing of both.
    TImage(const TSize& size, unsigned char* data, int step, bool swapRB);
    /// The same of 16-bit words as `IM_RGBA16U`; the step counts bytes. Throws "ERROR - TImage::TImage - data%2" and
    /// "ERROR - TImage::TImage - step%2" for odd addresses and steps, too.
    TImage(const TSize& size, unsigned short* data, int step, bool swapRB);
    /// Copies the pixels, as `copyFrom`; the copy of a view has pixels of its own.
    TImage(const TImage& other);
    /// Releases the pixels, unless others share them or they are the host's.
    ~TImage();
    /// Shares the pixels of `other` and takes over every field as it stands, the stamp included; of a view it makes a
    /// view.
    TImage& operator=(const TImage& other);

    /// Gives the image that size with undefined pixels and a fresh stamp, or makes it empty if a side is below 1. A
    /// view, and an image that has the size and its memory already, stay as they are, stamp included. Without memory
    /// the image has the size and null planes; the next `resize`, to the same size as well, tries again.
    void resize(const TSize& size);
    /// Copies kind, size and pixels of `other`; the image gets a fresh stamp and an empty rectangle of change. A view
    /// stays as it is. `other` may be a view of this image's own pixels. Throws "ERROR - TImage::copyFrom - not enough
    /// memory".
    void copyFrom(const TImage& other);

    /// Copies a plane into an image of its size: `CV_16UC1` into `IM_Y16U`, `CV_8UC1` into `IM_M8U` or into a plane of
    /// `IM_C8U`, where `plane` 0 means the first, 1 and above the second. The stamp stays: `setChanged` is the
    /// caller's. Throws "ERROR - TImage::copyFrom - size is not equal", "ERROR - TImage::copyFrom - type not match"
    /// and, for a negative `plane` of `IM_C8U`, "ERROR - TImage - plane<0".
    void fromMat(const cv::Mat& m, int plane);
    /// A header on the pixels, without a copy: `CV_16UC1`, `CV_8UC1`, `CV_8UC4` or `CV_16UC4`; of `IM_C8U` the first
    /// plane, or with `plane` 1 and above the second. It takes no reference: the image, and the host's buffer of a
    /// view, must outlive it, and no `resize` may come between. Empty if the image is, has no memory, or is of an
    /// unknown kind. Throws "ERROR - TImage - plane<0" as `fromMat` does, and "ERROR - TImage::toMat - step<0" for a
    /// view from the bottom up, which no `cv::Mat` can describe.
    const cv::Mat toMat(int plane) const;

    /// The address of the pixel in row `row` and column `col` of plane `plane` (0; of `IM_C8U` 0 or 1). Nothing is
    /// checked; offsets are 32-bit. Valid until the image is resized, copied into or destroyed.
    char* dataPtr(int row, int col, int plane);
    /// The same, to read.
    const char* dataPtr(int row, int col, int plane) const;

    /// What the image holds.
    IMTYPE type() const;
    /// Width and height in pixels, 0 by 0 if empty.
    const TSize& size() const;
    /// Bytes from row to row, 0 if empty; negative of a view from the bottom up. Rows of the image's own begin at
    /// multiples of 32 bytes.
    int step() const;
    /// Bytes from pixel to pixel in a plane: 2, 1, 1, 4 or 8 in the order of `IMTYPE`, 0 if empty.
    int pstep() const;
    /// The stamp of the last change, and where it was.
    const TUpdateRect& updateRect() const;
    /// A new stamp; the rectangle of the last change stays.
    void setChanged();
    /// A new stamp and a new rectangle, in pixels.
    void setChanged(const TRect& rect);

    /// Exchanges red and blue in place, of views too; an image without pixels is ignored, and so is one of so many
    /// pixels that their number as a 32-bit integer is below 1. The stamp stays. Throws
    /// "ERROR -  TImage::swapC4RBCannel() - wrong type" unless the image is interleaved.
    void swapC4RBCannel();

    /// The size of a plane of C or M: both sides halved, rounded up above 0, truncated below.
    static TSize dec2Size(const TSize& size);
    /// The mean of each 2 by 2 pixels of an `IM_Y16U`, divided by 256 and truncated, as a new `CV_8UC1` plane of
    /// `dec2Size`; the last row or column that an odd size adds is not written. Throws the integer 0 if the image is of
    /// another kind.
    cv::Mat halfY8U() const;

    /// 8-bit interleaved colour to Y, C, M: values times 257, then `rgba16uToYCM`. The outputs get their sizes. Throws
    /// "ERROR - TImage::rgba8uToYCM - in.type()!=IM_RGBA8U" for another kind with pixels, and as `rgba16uToYCM`.
    static void rgba8uToYCM(const TImage& in, TImage& y, TImage& c, TImage& m);
    /// 16-bit interleaved colour to Y, C, M, in whole blocks of 2 by 2 pixels. `y` gets the size of `in`, `c` and `m`
    /// `dec2Size` of it. Throws a text if `in` or an output is not of its kind, unless there are no pixels, and if an
    /// output is one that cannot be resized and is too small.
    static void rgba16uToYCM(const TImage& in, TImage& y, TImage& c, TImage& m);
    /// Y, C, M to 8-bit interleaved colour, as `YCMToRgba16u` and then `rgba16uTo8u`: an alpha of 255 comes back
    /// as 254. `out` gets the size of `y`; a view as large or larger gets its top left. Throws as `YCMToRgba16u`.
    static void YCMToRgba8u(const TImage& y, const TImage& c, const TImage& m, TImage& out);
    /// Y, C, M to 16-bit interleaved colour. C and M are enlarged by cubic interpolation; green comes from the
    /// unclamped red and blue; an alpha of 255 comes back as 65279. `out` must have the size of `y` already. Sizes that
    /// do not fit throw "TImage::YCMToRgba16u - imY.size()!=out.size() || TImage::dec2Size(imY.size()) != imC.size() ||
    /// imC.size() != mask.size()", other kinds a text of their own, and scratch without memory the integer 0.
    static void YCMToRgba16u(const TImage& y, const TImage& c, const TImage& m, TImage& out);

    /// 8 to 16 bits: 257 times each value. `out` gets the size of `in`; a view as large or larger gets its top left,
    /// the rest stays. Throws a text if an image with pixels is not of its kind, or a view is too small.
    static void rgba8uTo16u(const TImage& in, TImage& out);
    /// 16 to 8 bits, white to white and black to black: with s = v - 32768, ((s - (s >> 8)) >> 8) + 128. Sizes and
    /// failures as of `rgba8uTo16u`.
    static void rgba16uTo8u(const TImage& in, TImage& out);

    /// The host's packed B, G, R, A of 8 bits, `width` by `height`, `step` bytes from row to row as for a view, to
    /// Y, C, M as `rgba8uToYCM`. The host's pixels are only read. Throws as a view and as `rgba8uToYCM`.
    static void bgra8uToTImage(const unsigned char* src, int step, int width, int height, TImage& y, TImage& c,
                               TImage& m);
    /// `YCMToRgba8u` to the host's packed B, G, R, A of 8 bits of the size of `y`, `step` bytes from row to row as for
    /// a view. Throws as a view and as `YCMToRgba8u`.
    static void timageToBgra8u(const TImage& y, const TImage& c, const TImage& m, unsigned char* dst, int step);

    /// The colour that keeps the saturation of a picture whose luminance has been changed: red, green and blue are
    /// scaled by the ratio (k + new) / (k + old) of the halved luminances, on the scale 0..1. `k`, above 0 and as a
    /// rule below 0.1, keeps the ratio under control in the dark. `cNew` is allocated by the caller with the size of C,
    /// is not resized, and may be `cOld`; larger images serve with their top left. Throws the integer 0 if `yOld` or
    /// `yNew` is not an `IM_Y16U`, and a text for other kinds and smaller images of the others.
    static void updateCfromYChange(const TImage& yOld, const TImage& cOld, const TImage& yNew, TImage& cNew, float k);

    /// One colour in, r, g, b nominally 0..1, without a gamut step: components outside saturate. `y` is 255.4 times
    /// luminance, `u` and `v` are 128.4 times the differences r - luminance and b - luminance, about 128.
    static void RGB2YUV(float r, float g, float b, unsigned char& y, unsigned char& u, unsigned char& v);
    /// The same with a `y` of 65535.4 times luminance.
    static void RGB2YUV(float r, float g, float b, unsigned short& y, unsigned char& u, unsigned char& v);
    /// One colour out, nominally 0..1 and not clamped: `y` over 255, `u` and `v` in steps of 1/128 about 128.
    static void YUV2RGB(unsigned char y, unsigned char u, unsigned char v, float& r, float& g, float& b);
    /// The same with `y` over 65535.
    static void YUV2RGB(unsigned short y, unsigned char u, unsigned char v, float& r, float& g, float& b);

protected:
    /// An empty image of that kind of its own, with a fresh stamp. Releases nothing but its share of the pixels.
    void init(IMTYPE type);
    /// Lets go of the pixels and renews the stamp; a view stays as it is.
    void free();

    IMTYPE m_type;             ///< what it holds
    int m_bOwner;              ///< 1: the pixels are the image's; 0: it is a view
    TSize m_size;              ///< in pixels
    char* m_data[4];           ///< as many planes as the kind has, the others null
    int m_step;                ///< bytes from row to row
    int m_pstep;               ///< bytes from pixel to pixel in a plane
    TImRegion m_region;        ///< carried along; read by nothing
    TUpdateRect m_updateRect;  ///< the last change

private:
    friend class kestrova::image::OutputImage;
    /// True if `resize` to that size has nothing to do.
    KESTROVA_HIDDEN bool keeps(const TSize& size) const;
    /// Makes those planes the image's own; it has let go of others.
    KESTROVA_HIDDEN void take(const TSize& size, const kestrova::image::OwnPlanes& planes);
    KESTROVA_HIDDEN void initView(IMTYPE type, const TSize& size, void* data, int step, bool swapRB);

    std::shared_ptr<void> m_blocks[2];  // keep the planes for all images that share them
};

/// Does nothing; the name is part of the interface.
KESTROVA_EXPORT void RGBtoYCM(cv::Mat& r, cv::Mat& g, cv::Mat& b);
/// Does nothing; the name is part of the interface.
KESTROVA_EXPORT void YCMtoRGB(cv::Mat& y, cv::Mat& c, cv::Mat& m);
