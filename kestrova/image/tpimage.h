#pragma once

#include <opencv2/core.hpp>

#include "kestrova/export.h"

/// The planar working picture: luminance at full size, two colour differences and a mask at half size, all in planes
/// that the host reaches directly.
///
/// The colour space is Y, Dr, Db. With R, G, B on the 16-bit scale 0..65535:
///
///     Y  = 0.299 R + 0.587 G + 0.114 B
///     Dr = (R - Y) / 2 + 32768          R = Y + 2 (Dr - 32768)
///     Db = (B - Y) / 2 + 32768          B = Y + 2 (Db - 32768)
///                                       G = 1.7036 (Y - 0.299 R - 0.114 B)
///
/// The weights are 32-bit floats; each operation keeps the precision and the order that it states. Rounding is to the
/// nearest integer, ties to even, then clamped to the target's range. Alpha is neither read nor kept.
///
/// Pixels outside come in these forms; a step is the distance of two rows in bytes unless said otherwise:
///
///     packed 8-bit    bytes B, G, R, A; a byte c enters as 256 c, so that white is 65280
///     packed 16-bit   words B, G, R, A as they stand; its step counts words
///     pRGB            three planes R, G, B of 16-bit words, 0..65535
///     pRGB15U         the same on half the scale, 32768 being full
///     half pRGB       three 8-bit planes R, G, B of half size; output only
///
/// The host's buffer begins with the top row, and row r lies r steps from there. In the packed forms a negative step
/// stands for rows stored from the bottom to the top. A single row may have any step; a packed one has less than 2^31
/// elements.
///
/// Planes are shared by `cv::Mat`'s reference count: copying and assigning share pixels, only `clone` and `copyTo` give
/// private ones. A plane lives as long as a header on it, so that one taken out of an image outlives it. One object
/// serves one thread at a time; several threads may make, use and destroy images of their own.
///
/// Failures are texts, caught as `const char*`, and come before anything is written; so do those of memory that runs
/// out, "ERROR - TPImage::... - not enough memory", except that the constructors, `create`, `clone`, `copyTo` and
/// `MatRoi` let OpenCV's own exception through for planes. Objects and outputs are then as they were, and the same call
/// succeeds once there is memory. Arrays of three dimensions are refused with "ERROR - plane - dims>2", planes whose
/// elements do not stand at multiples of their size with "ERROR - plane - data%elemSize1 || step%elemSize1".
class KESTROVA_EXPORT TPImage {
public:
    /// An image of that size with undefined pixels and a new identity. A negative size is OpenCV's failure.
    TPImage(int width = 0, int height = 0);
    /// Shares the planes of `other`; the identity is new.
    TPImage(const TPImage& other);
    /// Lets go of the planes; the number of live images, which makes identities, falls by one.
    ~TPImage();
    /// Shares the planes of `other`; the identity stays.
    const TPImage& operator=(const TPImage& other);

    /// Gives the planes their sizes; a plane that already has its size and type keeps its pixels, the pixels of others
    /// are undefined. If `m_Y` has that size already, nothing else is looked at: the other planes stay even where they
    /// are empty. The third argument has no effect. A negative size is OpenCV's failure.
    void create(int width, int height, bool flag = true);
    /// Lets go of all four planes; the identity stays.
    void release();
    /// A new image with private copies of the half-size planes, and of the luminance if `withY`; else its luminance is
    /// empty.
    TPImage clone(bool withY) const;
    /// Copies the planes, `m_Y` only if `withY`, into those of `dst`, which are reallocated where size or type differ;
    /// the identity of `dst` stays.
    void copyTo(TPImage& dst, bool withY) const;

    /// True if `m_Y` has no pixels, or so many that their number as a 32-bit integer is below 1.
    bool bEmpty() const;
    /// Columns of `m_Y`.
    int width() const;
    /// Rows of `m_Y`.
    int height() const;
    /// Columns that the half-size planes have for `width()`.
    int hWidth() const;
    /// Rows that the half-size planes have for `height()`.
    int hHeight() const;
    /// The half size of n, rounded up for n above 0 and truncated below.
    static int half(int n);

    /// Tells whether the picture is still the one that was seen: a new object has the number of live images times 512,
    /// each packed `convertFrom` and each `updateUid` adds 1. The number of an object that is gone may come again.
    int uid() const;
    /// Adds 1 to the identity.
    void updateUid();

    /// The rectangle (x, y, w scale, h scale) of `in` reduced to w by h, in pixels of its own; the coordinates are
    /// those of the full-size picture, and with `bHalf`, which says that `in` is a half-size plane, are halved first: x
    /// and y with truncation, w and h rounded up. A rectangle that reaches beyond the right or the bottom edge is cut
    /// off there: at scale 1 the result is as much smaller, at others it is still w by h. One that starts outside or
    /// has a negative side, and a scale below 1, is a failure. An empty rectangle, which may start right at the edge,
    /// gives an empty plane at scale 1.
    ///
    /// Plainly, one pixel of each scale by scale is taken as `downSizeNX` does with cubic interpolation; scale 1 is a
    /// private copy. With `bSmooth` one to three box means come first, of 8-bit, 16-bit or float planes; others throw
    /// "ERROR TPImage::MatRoi - input type". Their radius, some third of the scale, is at most 32767. `in` is not
    /// changed.
    static cv::Mat MatRoi(const cv::Mat& in, int x, int y, int w, int h, int scale, bool bHalf, bool bSmooth);

    /// Packed 8-bit pixels in. The planes get the size of the picture, chroma is formed from every other pixel of every
    /// other row, `m_mask` becomes 255, and the identity grows by 1. A size whose product is below 1 changes nothing.
    /// Sides below 0, null pointers and steps shorter than a row are failures; so are half-size planes that were
    /// released ("ERROR - downSize2X - outHalf must be allocated!") or are too small while `m_Y` has its own size. In
    /// larger ones the additional columns and rows repeat the last one.
    void convertFrom(const unsigned char* src, int width, int height, int step);
    /// Packed 16-bit pixels in, likewise; the step counts words. An odd address is a failure.
    void convertFrom(const unsigned short* src, int width, int height, int step);
    /// Planes R, G, B of 16-bit words in, as `convertFrom`, but the identity stays. The step counts bytes; a negative
    /// or odd one is a failure.
    void convertFrompRGB(unsigned short* const planes[3], int width, int height, int step);
    /// `convertFrompRGB` of planes on the 15-bit scale.
    void convertFrompRGB15U(unsigned short* const planes[3], int width, int height, int step);

    /// Packed 8-bit pixels out at full size: `YDRDBToQImage` of the whole picture.
    void convertTo(unsigned char* dst, int step) const;
    /// Planes R, G, B of 16-bit words out at full size, chroma enlarged along the edges of luminance
    /// (`upSize2XGuidedByYSimple`). Green comes from the clamped red and blue. An empty image writes nothing. Null
    /// pointers, odd addresses, steps that are odd or shorter than a row, and half-size planes smaller than the
    /// luminance needs are failures.
    void convertTopRGB(unsigned short* const planes[3], int step) const;
    /// `convertTopRGB` on the 15-bit scale; the results are not limited to 32767.
    void convertTopRGB15U(unsigned short* const planes[3], int step) const;
    /// The cheap preview: `hWidth()` by `hHeight()` bytes a plane, luminance reduced instead of chroma enlarged.
    /// Failures as above; an empty image fails with "ERROR - downSize2X - outHalf must be allocated!".
    void convertToHalfpRGB(unsigned char* const planes[3], int step) const;

    /// Luminance of three `CV_16UC1` planes of one size; `Y` is created with that size as `CV_16UC1`, and may be one of
    /// them. Other types and a green or blue plane smaller than the red one are failures.
    static void PRGB2Y(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, cv::Mat& Y);
    /// `PRGB2Y` of planes on the 15-bit scale; `Y` is on the 16-bit scale.
    static void PRGB15U2Y(const cv::Mat& R, const cv::Mat& G, const cv::Mat& B, cv::Mat& Y);

    /// Full-size planes to full-size planes on the 16-bit scale. All are `CV_16UC1`, allocated by the caller, and at
    /// least as large as `Y`; R may be Dr and B may be Db. Green comes from the clamped red and blue. Other types and
    /// smaller planes are failures; an empty `Y` asks nothing.
    static void YDRDB2RGB(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B);
    /// `YDRDB2RGB` on the 15-bit scale; the results are not limited to 32767. The object is not used.
    void YDRDB2RGB15U(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B) const;
    /// `YDRDB2RGB` to `CV_8UC1` planes: green comes from the unclamped red and blue, and Y loses its lowest bit. The
    /// object is not used.
    void YDRDB2RGB8U(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, cv::Mat& R, cv::Mat& G, cv::Mat& B) const;

    /// Full-size `Y` with half-size `Dr`, `Db`, all `CV_16UC1` ("ERROR TPImage::YDrDbToQImage - input type", also for
    /// planes never created), to the top left `width` by `height` packed 8-bit pixels at `dst`, alpha 255. All in
    /// float, from unclamped red and blue, divided by 256 with rounding. A null pointer, a |step| shorter than a row,
    /// and planes that are too small are failures; a size below 1 writes nothing.
    static void YDRDBToQImage(const cv::Mat& Y, const cv::Mat& Dr, const cv::Mat& Db, unsigned char* dst, int width,
                              int height, int step);

    /// One colour in, r, g, b nominally 0..1; outside of it the components saturate. `y` 0..65535, `dr` and `db` with
    /// zero at 32768.
    static void RGB2YdRdB(float r, float g, float b, unsigned short& y, unsigned short& dr, unsigned short& db);
    /// One colour out, clamped to 0..1 in steps of 1/65535.
    static void YdRdB2RGB(unsigned short y, unsigned short dr, unsigned short db, float& r, float& g, float& b);

    /// One colour in, r, g, b nominally 0..1; a colour outside is first compressed towards its least component until
    /// the greatest is 1, or, where the least is below 0, towards its greatest until the least is 0. `y` is 0..255; `u`
    /// is 128 (r - luminance) / 0.701 and `v` 128 (b - luminance) / 0.886, about 128: the greatest differences of red
    /// and blue span the whole range.
    static void RGB2YUV(float r, float g, float b, unsigned char& y, unsigned char& u, unsigned char& v);
    /// The 8-bit form, but with `y` 0..65535 and with `u` and `v` of 16384 times the differences r - luminance and
    /// b - luminance, about 32768: half as far from it as Dr and Db, which `RGB2YdRdB` gives.
    static void RGB2YUV(float r, float g, float b, unsigned short& y, unsigned short& u, unsigned short& v);
    /// The 8-bit form, but with `y` 0..65535.
    static void RGB2YUV(float r, float g, float b, unsigned short& y, unsigned char& u, unsigned char& v);
    /// One colour out, the way back from the 8-bit form; nominally 0..1, not clamped.
    static void YUV2RGB(unsigned char y, unsigned char u, unsigned char v, float& r, float& g, float& b);
    /// The way back from `y` 0..65535 with `u` and `v` of 8 bits, not clamped.
    static void YUV2RGB(unsigned short y, unsigned char u, unsigned char v, float& r, float& g, float& b);
    /// The way back from the 16-bit form, not clamped.
    static void YUV2RGB(unsigned short y, unsigned short u, unsigned short v, float& r, float& g, float& b);

    cv::Mat m_Y;     ///< luminance, `CV_16UC1`, width by height
    cv::Mat m_Dr;    ///< red difference, `CV_16UC1`, zero at 32768, hWidth by hHeight
    cv::Mat m_Db;    ///< blue difference, `CV_16UC1`, zero at 32768, hWidth by hHeight
    cv::Mat m_mask;  ///< `CV_8UC1`, hWidth by hHeight; no conversion out reads it
    int m_uid;       ///< identity, as `uid`

protected:
    /// @name Edge maps
    /// For classes built on `TPImage`: one byte a pixel (`CV_8UC1`, full size, 128 neutral) of what a
    /// half-size plane cannot carry of a full-size one, so that a picture can be processed at half size and its detail
    /// put back afterwards. A residual r, at half the scale of luminance, is kept as its signed square root
    /// 128 +- 0.7071 sqrt(|r|): small ones finely, large ones coarsely. Planes of luminance are `CV_16UC1`; a
    /// half-size plane is enlarged by a step of the Gaussian pyramid (`upSize2X` with `kPyramidStep`) and must have a
    /// size that this takes. Other types, and tables that are missing, are failures before anything is written.
    /// @{

    /// Provides the two tables, on the first call: before it there are none. Any thread may call it, at any time.
    static void provideEdgeTables();
    /// Fills the tables anew; no other thread may use them meanwhile. Throws "ERROR - TPImage::computeLUT: LUT is not
    /// allocated." if they are missing.
    static void computeLUT();
    /// Residuals about 32768 to edges; `out` is created with the size of `in`. Throws "ERROR -
    /// TPImage::applyFullToEdgeLUT: LUT is NULL." if the table is missing.
    static void applyFullToEdgeLUT(const cv::Mat& in, cv::Mat& out);
    /// The edges of `full` over the enlarged `half`: the residual, halved and truncated. An empty `half` stands for
    /// `full` reduced by a step of the pyramid to (rows / 2 + 1) by (cols / 2 + 1), from which only planes with both
    /// sides odd can be enlarged again; OpenCV throws for others. `edge` is created with the size of `full`.
    static void fullToEdge(const cv::Mat& full, const cv::Mat& half, cv::Mat& edge);
    /// full = enlarged `half` + `gain` times the residual. The residual is half of the detail: a gain of 2 restores it.
    /// Gains within 0.01 of 1 are taken as 1. `full` is created with the size of `edge`.
    static void edgeToFull(const cv::Mat& edge, const cv::Mat& half, cv::Mat& full, float gain);
    /// full = enlarged `halfNew` + gain times the residual, the gain varying with what became of the gradients of
    /// `halfOld`: it is `gain` where they stayed, and goes to 0 where they were flattened, by
    ///
    ///     (smooth(grad new . grad old) + 65535 epsilon) / (smooth(|grad old|^2) + 65535 epsilon)
    ///
    /// with forward differences, smoothed over 5 by 5. It is stored in bytes, 1 as 43 (so 1.008) and at most 5.98, and
    /// below 0 as 0.
    static void edgeToFull(const cv::Mat& edge, const cv::Mat& halfOld, const cv::Mat& halfNew, cv::Mat& full,
                           float epsilon, float gain);

    /// @}

private:
    static int m_count;                        // live objects; changed atomically
    static unsigned char* m_lutFullToEdge_p;   // 65536 entries, null until they are provided
    static unsigned short* m_lutEdgeToFull_p;  // 256 entries, likewise
};
