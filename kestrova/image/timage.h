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
///     C  `IM_C8U`, `dec2Size` of it  means of (R - Y) / 512 + 128 and (B - Y) / 512 + 128 over 2 by 2 pixels
///     M  `IM_M8U`, `dec2Size` of it  mean of alpha / 256 over 2 by 2 pixels
///
/// Interleaved images hold R, G, B, A; nothing is premultiplied. The weights are 32-bit floats; each operation keeps
/// the precision and the order that it states. Where a size is odd, the last row or column of Y, C and M on the way in
/// is not written.
///
/// The copy constructor and `copyFrom` copy pixels, assignment shares them. One object serves one thread at a time.
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

    /// An image of its own with undefined pixels; empty (0 by 0) if a side of `size` is below 1.
    TImage(IMTYPE type, const TSize& size);
    /// A view of the host's pixels as `IM_RGBA8U` or `IM_RGBA16U`, `step` bytes from row to row; it never resizes,
    /// copies into or frees them. With `swapRB`, red and blue of the host's pixels are exchanged at once. Throws
    /// "ERROR - TImage::TImage - data==NULL", and texts of the same beginning for a step shorter than a row or, of 16
    /// bits, odd.
    TImage(const TSize& size, unsigned char* data, int step, bool swapRB);
    TImage(const TSize& size, unsigned short* data, int step, bool swapRB);
    /// Copies the pixels; the copy of a view has pixels of its own.
    TImage(const TImage& other);
    ~TImage();
    /// Shares the pixels of `other` and takes over every field as it stands, the stamp included; of a view it makes
    /// a view. The last image that shares pixels releases them.
    TImage& operator=(const TImage& other);

    /// Gives the image that size with undefined pixels, or makes it empty if a side is below 1. A view, and an image
    /// that has the size already, stay as they are. Memory that is not to be had leaves null planes.
    void resize(const TSize& size);
    /// Copies kind, size and pixels of `other`; the image gets a fresh stamp and an empty rectangle of change. A view
    /// stays as it is.
    void copyFrom(const TImage& other);

    /// Copies a plane into an image of its size: `CV_16UC1` into `IM_Y16U`, `CV_8UC1` into `IM_M8U` or into a plane of
    /// `IM_C8U`, where `plane` 1 and above mean the second. The stamp stays: `setChanged` is the caller's. Throws
    /// "ERROR - TImage::copyFrom - size is not equal" and "ERROR - TImage::copyFrom - type not match".
    void fromMat(const cv::Mat& m, int plane);
    /// A header on the pixels: `CV_16UC1`, `CV_8UC1`, `CV_8UC4` or `CV_16UC4`; of `IM_C8U` the first plane, or with
    /// `plane` 1 and above the second. It takes no reference: the image must outlive it. Empty if the image is, has no
    /// memory, or is of an unknown kind. As in `fromMat`, a negative `plane` of `IM_C8U` throws
    /// "ERROR - TImage - plane<0".
    const cv::Mat toMat(int plane) const;

    /// The address of a pixel. Nothing is tested; offsets are 32-bit.
    char* dataPtr(int row, int col, int plane);
    const char* dataPtr(int row, int col, int plane) const;

    /// What the image holds, and its size in pixels.
    IMTYPE type() const;
    const TSize& size() const;
    /// Bytes from row to row, 0 if empty.
    int step() const;
    /// Bytes from pixel to pixel in a plane, 0 if empty.
    int pstep() const;
    /// The stamp of the last change, and where it was.
    const TUpdateRect& updateRect() const;
    /// A new stamp, and with `rect` a new rectangle.
    void setChanged();
    void setChanged(const TRect& rect);

    /// Exchanges red and blue in place, of views too; an image without pixels is let pass. Throws
    /// "ERROR -  TImage::swapC4RBCannel() - wrong type" unless the image is interleaved.
    void swapC4RBCannel();

    /// The size of a plane of C or M: both sides halved, rounded up.
    static TSize dec2Size(const TSize& size);
    /// The mean of each 2 by 2 pixels of an `IM_Y16U`, divided by 256 and truncated, as `CV_8UC1` of `dec2Size`; the
    /// last row or column that an odd size adds is not written. Throws the integer 0 if the image is of another kind.
    cv::Mat halfY8U() const;

    /// Interleaved colour to Y, C, M, which get their sizes here; 8-bit values are multiplied by 257 first. Throws if
    /// an image with pixels is not of its kind.
    static void rgba8uToYCM(const TImage& in, TImage& y, TImage& c, TImage& m);
    static void rgba16uToYCM(const TImage& in, TImage& y, TImage& c, TImage& m);
    /// Y, C, M to interleaved colour. C and M are enlarged by cubic interpolation; green comes from the unclamped red
    /// and blue; an alpha of 255 comes back as 65279, or 254. `out` must have the size of `y` in the 16-bit form and
    /// gets it in the 8-bit form. Sizes that do not fit throw "TImage::YCMToRgba16u - imY.size()!=out.size() ||
    /// TImage::dec2Size(imY.size()) != imC.size() || imC.size() != mask.size()", other kinds a text of their own, and
    /// nothing is written.
    static void YCMToRgba8u(const TImage& y, const TImage& c, const TImage& m, TImage& out);
    static void YCMToRgba16u(const TImage& y, const TImage& c, const TImage& m, TImage& out);

    /// 8 to 16 bits: 257 times each value. `out` gets the size of `in`. Throws if an image with pixels is not of its
    /// kind.
    static void rgba8uTo16u(const TImage& in, TImage& out);
    /// 16 to 8 bits, white to white and black to black. `out` gets the size of `in`. Throws as `rgba8uTo16u` does.
    static void rgba16uTo8u(const TImage& in, TImage& out);

    /// The host's packed B, G, R, A of 8 bits, `step` bytes from row to row, as `rgba8uToYCM`. The host's pixels are
    /// only read. A null pointer and a short step throw as for a view.
    static void bgra8uToTImage(const unsigned char* src, int step, int width, int height, TImage& y, TImage& c,
                               TImage& m);
    /// `YCMToRgba8u` to the host's packed B, G, R, A of the size of `y`. A null pointer and a short step throw as
    /// for a view.
    static void timageToBgra8u(const TImage& y, const TImage& c, const TImage& m, unsigned char* dst, int step);

    /// The colour that keeps the saturation of a picture whose luminance has been changed: red, green and blue are
    /// scaled by the ratio (k + new) / (k + old) of the halved luminances, on the scale 0..1; `k` keeps the ratio under
    /// control in the dark. `cNew` is allocated by the caller with the size of C, and may be `cOld`. Throws the
    /// integer 0 if `yOld` or `yNew` is not an `IM_Y16U`, and a text for other kinds and smaller images of the others.
    static void updateCfromYChange(const TImage& yOld, const TImage& cOld, const TImage& yNew, TImage& cNew, float k);

    /// One colour in, r, g, b nominally 0..1; components outside saturate. The scale of `y` is 255.4 or 65535.4.
    static void RGB2YUV(float r, float g, float b, unsigned char& y, unsigned char& u, unsigned char& v);
    static void RGB2YUV(float r, float g, float b, unsigned short& y, unsigned char& u, unsigned char& v);
    /// One colour out, not clamped.
    static void YUV2RGB(unsigned char y, unsigned char u, unsigned char v, float& r, float& g, float& b);
    static void YUV2RGB(unsigned short y, unsigned char u, unsigned char v, float& r, float& g, float& b);

protected:
    /// An empty image of that kind with a fresh stamp.
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
    KESTROVA_HIDDEN void take(const TSize& size, const kestrova::image::OwnPlanes& planes);
    KESTROVA_HIDDEN void initView(IMTYPE type, const TSize& size, void* data, int step, bool swapRB);

    std::shared_ptr<void> m_blocks[2];  // keep the planes for all images that share them
};

/// Do nothing; their names are part of the interface.
KESTROVA_EXPORT void RGBtoYCM(cv::Mat& r, cv::Mat& g, cv::Mat& b);
KESTROVA_EXPORT void YCMtoRGB(cv::Mat& y, cv::Mat& c, cv::Mat& m);
