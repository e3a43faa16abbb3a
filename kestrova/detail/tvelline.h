#pragma once

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

#include "kestrova/export.h"
#include "kestrova/frame/tprogress.h"

/// The three-scale detail engine. From a picture's luminance, three detail planes of growing scale and its chroma it
/// renders the luminance of any rectangle at any sampling step, each scale boosted or softened separately in
/// shadows, midtones and highlights, over a colour-to-luminance mix and a light curve.
///
///     setup (once a picture) -> fields and their flags -> proc (a rectangle) -> getRoiY -> fields ... -> proc ...
///
/// Planes are CV_16UC1. Luminance takes 0..65535; chroma (Dr, Db) is neutral at 32768; a detail plane has zero detail
/// at 32768 and holds half of the luminance difference that it stands for. The host computes the detail planes.
///
/// Planes are shared by reference count, also between copies of the engine: the host must not write into what it
/// handed in while the engine is in use. One engine serves one thread at a time.
class KESTROVA_EXPORT TVelline {
public:
    /// All parameters 0, all flags clear, no planes: nothing can be rendered before a `setup`.
    TVelline();
    /// Copies share all planes. A copy is a cache of its own: what it renders leaves the other's result alone.
    TVelline(const TVelline&);
    TVelline& operator=(const TVelline&);
    ~TVelline();

    /// Prepares a picture: stores Y, DS, DM and DL (shared), enlarges the half-size chroma planes to the size of Y
    /// guided by it, smooths them with a domain transform of sigma (rows + cols) / 256, limited to 4..32 pixels, block
    /// by block, sets `m_maxPlainLevel` from the longer side (over 6600: 4, over 4800: 3, over 3100: 2, else 1) and
    /// marks all caches stale. Parameters stay. May be called again for another picture.
    ///
    /// `progress` may be null; it gets 20, 40 and 100 of 100. False if the host cancelled: at 20 `m_Db` and the flags
    /// are as they were, at 40 the flags are and chroma is not smoothed, at 100 all stands. The host treats any false
    /// as a picture not prepared.
    ///
    /// Throws what the enlarger throws on planes that do not fit, and "BlockProcessor::convertBlockDuplicatedBorder
    /// roiSize<1" on an empty picture; the first four planes are stored by then, the flags are not set.
    bool setup(const cv::Mat& Y, const cv::Mat& DS, const cv::Mat& DM, const cv::Mat& DL, const cv::Mat& halfDr,
               cv::Mat halfDb, TProgress* progress);

    /// Only provides the planes: each of m_Y, m_DS, m_DM, m_DL gets the size and type of `like` with undefined pixels,
    /// unless it has them, and marks the rectangle stale. Always true; `progress` is not used.
    bool setup(const cv::Mat& like, TProgress* progress);

    /// Renders the rectangle (x, y, width x level, height x level) of the picture, every `level`-th pixel, and computes
    /// again only what a changed rectangle, step or flag makes stale. Luminance and chroma are sampled plainly, detail
    /// planes too up to `m_maxPlainLevel`; beyond it they are low-passed first (`TPImage::MatRoi`). Prints one line to
    /// standard output. Always true.
    ///
    /// `rYE16U`, in the form of a detail plane, joins the small scale before its curves if it has the size of the
    /// rectangle planes, and then counts as new on every call; any other size is ignored, an empty plane included.
    /// Planes of other single-channel types are added by their numbers, biased at 32768 all the same.
    ///
    /// A rectangle that reaches beyond the picture is cut there: at step 1 the result is smaller, at a larger step it
    /// is width x height all the same, the last whole column and row within the picture repeated.
    ///
    /// Throws "ERROR - TVelline::proc - ..." before it changes anything if a plane that it needs is empty or not of the
    /// size of m_Y. Once rectangle and step are stored, and still before any pixel is written, it throws the failures
    /// of `TPImage::MatRoi`, also on a rectangle or step that makes no sense, the one of `modYWithC` on chroma types,
    /// "ERROR - TLutYDrDb::proc - inOutY16U.type()!=CV_16UC1" and, for details and the extra plane, further "ERROR -
    /// TVelline::proc - ..." texts. The flags stay set then, and the next `proc` does the work.
    bool proc(cv::Rect roi, int level, cv::Mat rYE16U);

    /// The luminance that the last `proc` rendered. The next `proc` that changes it writes into the same pixels, unless
    /// the host handed them back in as a plane of the picture.
    cv::Mat& getRoiY();

protected:
    /// Stores rectangle and step; the caches are stale if either differs.
    void setRoi(cv::Rect roi, int level);

    /// True if any of the six parameters of scale `s` is not zero in the sense of `bNZ`.
    bool bNeedSHMix(int s);

    /// Not within 0.01 of zero; true for not-a-number.
    bool bNZ(float v);

    /// A difference of 0.01 or more.
    bool neq(float a, float b);

    /// The three points (0, 0), (32768, 32768), (65535, 65536) and their number; the last ordinate is meant.
    void computeYCurve(int* x, int* y, int* n);

    /// Mixes colour into luminance: y += 2.5 ((a - b) (dr - 32768) + (c - b) (db - 32768)), rounded and clamped. `dr`
    /// and `db` are at least of the size of `y`, both CV_16UC1 or both CV_8UC1, whose values count 256 times. Other
    /// types throw the trace text "bad dr type" of line 374.
    void modYWithC(const cv::Mat& dr, const cv::Mat& db, float a, float b, float c, cv::Mat& y);

    /// Blends three curves' results by tonal zone into `h`: shadows `s`, midtones `m`, highlights `h`, weighted in
    /// 1/256 by the high byte of luminance `y`. All CV_16UC1, at least of the size of `h`.
    void mixSMH(const cv::Mat& y, const cv::Mat& s, const cv::Mat& m, cv::Mat& h);

    /// y += 2 (d0 + d1 + d2 - 3 x 32768), clamped. All CV_16UC1, at least of the size of `y`.
    void addEdges(const cv::Mat& d0, const cv::Mat& d1, const cv::Mat& d2, cv::Mat& y);

    /// Interleaves the first two CV_16UC1 planes into a new CV_16UC2 plane, which replaces `out`; leaves `out` alone if
    /// there are no planes.
    void merge2(std::vector<cv::Mat>& planes, cv::Mat& out);

    /// Takes a CV_16UC2 plane apart into two planes that have at least its size. Does nothing if `in` is empty or
    /// there are not exactly two planes.
    void split2(cv::Mat& in, std::vector<cv::Mat>& planes);

public:
    // Parameters, written by the host. In m_k and m_t the index is 3 scale + zone: scales small, medium, large; zones 0
    // highlights and base of the other two, 1 shadows, 2 midtones. Within 0.01 of zero counts as zero, and a change of
    // less than 0.01 as none.
    int m_reserved0;   ///< read by nothing
    int m_reserved1;   ///< read by nothing
    float m_k[9];      ///< strengths, about -1..1
    float m_t[9];      ///< thresholds, about -1..1
    float m_light[6];  ///< brightness, contrast, highlights, shadows, whites, blacks
    float m_mix[3];    ///< weights of red, green and blue in `modYWithC`

    /// What the host changed since the last `proc`, which clears them: a row of m_k or m_t, or m_light or m_mix.
    bool m_bChangedS;
    bool m_bChangedM;
    bool m_bChangedL;
    bool m_bChangedY;

    /// The picture: luminance, three detail planes, smoothed chroma, all of full size.
    cv::Mat m_Y;
    cv::Mat m_DS;
    cv::Mat m_DM;
    cv::Mat m_DL;
    cv::Mat m_Dr;
    cv::Mat m_Db;

    /// The current rectangle, its sampling step, and its caches: luminance under mix and light, the three scales after
    /// their curves, the finished luminance. Each is valid while its flags are clear.
    cv::Rect m_roi;
    int m_level;
    bool m_bRoiChanged;
    cv::Mat m_rY;
    cv::Mat m_rDS;
    cv::Mat m_rDM;
    cv::Mat m_rDL;
    cv::Mat m_roiY;

    int m_maxPlainLevel;  ///< the largest step at which detail planes are sampled without filtering

private:
    struct Stale;
    KESTROVA_HIDDEN Stale staleParts(cv::Rect roi, int level, const cv::Mat& extra);
    KESTROVA_HIDDEN void requirePlanes(const Stale& stale) const;
    KESTROVA_HIDDEN void renew(const Stale& stale, const cv::Mat& extra);

    std::shared_ptr<const void> m_roiYUsers;  ///< held by each copy of the engine whose m_roiY has these pixels
};
