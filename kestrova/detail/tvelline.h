#pragma once

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

#include "kestrova/export.h"
#include "kestrova/frame/tprogress.h"

/// The three-scale detail engine. From a picture's luminance, three detail planes of growing scale and its chroma it
/// renders the luminance of any rectangle at any sampling step: a colour-to-luminance mix, a light curve, and on top of
/// them the details, each scale boosted or softened separately in shadows, midtones and highlights.
///
/// **Planes** are CV_16UC1. Luminance takes 0..65535. Chroma, Dr and Db, is neutral at 32768. A detail plane has zero
/// detail at 32768 and holds half of the luminance difference that it stands for; the host computes the three of them.
/// Planes are shared by reference count, also between copies of the engine: the host does not write into what it has
/// handed in while the engine is in use.
///
/// **Order of calls.** `setup` once per picture with its whole luminance, which guides the chroma. Then the host sets
/// `m_Y` to the luminance that is left without the details, Y - 2 (DS + DM + DL - 3 x 32768): `proc` adds the details
/// to `m_Y`, and to the whole luminance it would add them a second time. From there on, for every change of the view or
/// of a parameter: fields, their flags, `proc`, `getRoiY`. `picture` stands for a `TPImage`, `view` for a `cv::Rect`.
///
///     engine.setup(picture.m_Y, small, medium, large, picture.m_Dr, picture.m_Db, nullptr);
///     engine.m_Y = base;
///     engine.m_k[TVelline::index(TVelline::ScaleSmall, TVelline::ZoneMidtones)] = 0.8f;
///     engine.m_light[TVelline::LightShadows] = 0.4f;
///     engine.m_bChangedS = engine.m_bChangedY = true;
///     engine.proc(view, level, cv::Mat());
///     const cv::Mat& luminance = engine.getRoiY();
///
/// **Parameters.** All are 0 by default, which leaves details as they are and luminance within the light curve's
/// rounding, some levels of 65535. They are not limited; the ranges are those that the formulas are made for. A scale
/// whose six parameters are all within 0.01 of 0 skips its curves; a mix whose three weights are skips the mix. With
/// kMax 5, 4, 3.5 and threshold 9830, 8191, 7372 for the small, medium and large scale s = 0, 1, 2:
///
/// | field | range | above 0 | below 0 |
/// |---|---|---|---|
/// | `m_k[3 s]` | -1..1 | detail times 1 + (kMax - 1) k | detail times 1 + k, none at -1 |
/// | `m_t[3 s]` | -1..1 | detail below t threshold grows towards it | detail below 0.4 abs(t) threshold is removed |
/// | `m_k[3 s + 1]`, `m_t[3 s + 1]` | -1..1 | the same in shadows, starting from the base | |
/// | `m_k[3 s + 2]`, `m_t[3 s + 2]` | -1..1 | the same in midtones, starting from the base | |
/// | `m_light[0]` brightness | -1..1 | brighter: 0.343 b^3 is added to the root of luminance 0..1 | darker |
/// | `m_light[1]` contrast | -1..1 | roots times 2 c^3 + 1 about 0.707 | roots times 1 / (1 - 5 c^3) |
/// | `m_light[2]` highlights | -1..1 | highlights brighter | highlights darker |
/// | `m_light[3]` shadows | -1..1 | shadows brighter | shadows darker |
/// | `m_light[4]` whites | -1..1 | white from 1 - 0.2 w on | white from there on, beyond 1 |
/// | `m_light[5]` blacks | -1..1 | black at -0.2 b: lifted | black up to -0.2 b |
/// | `m_mix[0..2]` red, green, blue | -1..1 | see `modYWithC`; equal weights change nothing | |
///
/// A strength k in shadows or midtones stands for K = B + (1.5 - B) k 2/3 above 0 and B + (1.5 + B) k 2/3 below, where
/// B is the base's: 0 is the base itself, and K takes the place of k in the table above. Thresholds likewise, with
/// those below 0 taken 0.4 times. Thresholds are in levels of a detail plane, divided by a slope above 1. The curves
/// are those of `TLut16U::setupLinearThreshold`, smooth about the threshold: one above 0 multiplies the smallest detail
/// by some 2.9 slopes rather than lifting it whole. What the light curve drives to white from a luminance v below full
/// comes out as 1.001 v / (v + 0.012) of it, 0.986 from 0.8: a host that marks clipped pixels allows for it.
///
/// **A view** at a step needs its chroma, and the luminance before, for `TColorAdjVL::proc`: sampled as the engine
/// samples details, chroma from `m_Dr` and `m_Db`, which have full size:
///
///     const bool smooth = level > engine.m_maxPlainLevel;
///     y0 = TPImage::MatRoi(picture.m_Y, view.x, view.y, view.width, view.height, level, false, smooth);
///     dr = TPImage::MatRoi(engine.m_Dr, view.x, view.y, view.width, view.height, level, false, smooth);
///     db = TPImage::MatRoi(engine.m_Db, view.x, view.y, view.width, view.height, level, false, smooth);
///
/// **The process.** `proc` and the long `setup` print a line each to standard output; `Kestrova::setPrinting(false)`
/// keeps them off it for the calling thread. The long `setup` changes the OpenMP settings of the calling thread: as
/// many threads as there are processors, nested parallel regions allowed, fixed teams.
///
/// **Failures** are thrown texts, caught as `const char*`. Where memory runs out, the text is "ERROR -
/// TVelline::<operation> - not enough memory" or that of an operation inside, and the same call succeeds once there is
/// memory. One engine serves one thread at a time.
class KESTROVA_EXPORT TVelline {
public:
    /// The scale s of a strength or a threshold.
    enum Scale {
        ScaleSmall = 0,   ///< plane `m_DS`, flag `m_bChangedS`
        ScaleMedium = 1,  ///< plane `m_DM`, flag `m_bChangedM`
        ScaleLarge = 2,   ///< plane `m_DL`, flag `m_bChangedL`
    };

    /// The tonal zone of a strength or a threshold. The zones fade into each other: shadows end at a third of full
    /// luminance, highlights begin at two thirds, midtones are whole between them and end at black and white.
    enum Zone {
        ZoneBase = 0,      ///< highlights, and what the other two start from
        ZoneShadows = 1,   ///< shadows
        ZoneMidtones = 2,  ///< midtones
    };

    /// The elements of `m_light`.
    enum Light {
        LightBrightness = 0,  ///< brightness
        LightContrast = 1,    ///< contrast
        LightHighlights = 2,  ///< highlights
        LightShadows = 3,     ///< shadows
        LightWhites = 4,      ///< whites
        LightBlacks = 5,      ///< blacks
    };

    /// The elements of `m_mix`.
    enum Mix {
        MixRed = 0,    ///< weight of red
        MixGreen = 1,  ///< weight of green
        MixBlue = 2,   ///< weight of blue
    };

    /// The element of `m_k` and `m_t` of a scale and a zone.
    static constexpr int index(Scale scale, Zone zone) { return 3 * scale + zone; }

    /// All parameters 0, all flags clear, no planes: nothing can be rendered before a `setup`.
    TVelline();
    /// Shares all planes with `other`. A copy is a cache of its own: what it renders leaves the other's result alone.
    TVelline(const TVelline& other);
    /// Shares all planes with `other`, as the copy constructor does.
    TVelline& operator=(const TVelline& other);
    /// Releases the planes.
    ~TVelline();

    /// Prepares a picture: stores `Y`, `DS`, `DM` and `DL` (shared, all of one size), enlarges the chroma planes, which
    /// have (cols + 1) / 2 x (rows + 1) / 2 pixels, to the size of `Y` guided by it, smooths them with a domain
    /// transform of sigma (rows + cols) / 256, limited to 4..32 pixels, block by block, sets `m_maxPlainLevel` from the
    /// longer side (over 6600: 4, over 4800: 3, over 3100: 2, else 1) and marks all caches stale. Parameters stay. May
    /// be called again for another picture.
    ///
    /// `progress` may be null; it gets 20, 40 and 100 of 100. False if the host cancelled: at 20 `m_Db` and the flags
    /// are as they were, at 40 the flags are and chroma is not smoothed, at 100 all stands. The host treats any false
    /// as a picture not prepared.
    ///
    /// Throws what `upSize2XGuidedByYSimple` throws on planes that do not fit, and
    /// "BlockProcessor::convertBlockDuplicatedBorder roiSize<1" on an empty picture. After a failure the first four
    /// planes are stored, chroma may be unfinished, the flags are not set, and `setup` has to be called again. Throws
    /// "ERROR - plane - dims>2" and "ERROR - plane - data%elemSize1 || step%elemSize1" before anything is stored.
    bool setup(const cv::Mat& Y, const cv::Mat& DS, const cv::Mat& DM, const cv::Mat& DL, const cv::Mat& halfDr,
               cv::Mat halfDb, TProgress* progress);

    /// Only provides the planes: each of `m_Y`, `m_DS`, `m_DM`, `m_DL` gets the size and type of `like` with undefined
    /// pixels, unless it has them, and the rectangle is marked stale. Chroma and `m_maxPlainLevel` stay. Always true;
    /// `progress` is not used. Throws "ERROR - plane - dims>2". A failure leaves all as it was.
    bool setup(const cv::Mat& like, TProgress* progress);

    /// Renders the rectangle of `roi.width` x `roi.height` pixels of the result that begins at (`roi.x`, `roi.y`) of
    /// the picture, every `level`-th pixel in both directions, and computes again only what a changed rectangle, step
    /// or flag makes stale. Luminance and chroma are sampled plainly, details too up to `m_maxPlainLevel`; beyond it
    /// they are low-passed first (`TPImage::MatRoi`). Clears the flags. Always true. Prints, on every call,
    /// "tvelline -- proc ------- rYE16U size: ROWSXCOLS  m_rDS size: ROWSXCOLS", the latter of the call before.
    ///
    /// `rYE16U`, in the form of a detail plane, joins the small scale before its curves if it has the size of the
    /// result, and then counts as new on every call; one of any other size is ignored, an empty one included. What has
    /// joined stays until the small scale is computed again: a host that takes its plane away sets `m_bChangedS`. The
    /// numbers of another single-channel type are added as they are, less 32768; half floats are refused.
    ///
    /// A rectangle that reaches beyond the picture is cut there. At step 1 the result is smaller. At a larger step it
    /// has its size all the same, and columns and rows differ: each column for which the picture has no `level` whole
    /// columns left repeats the last one for which it has, while rows near and below the bottom edge are sampled as if
    /// the picture's last row went on.
    ///
    /// Throws "ERROR - TVelline::proc - ..." before it changes anything if a plane that it needs is empty or not of the
    /// size of `m_Y`. Once rectangle and step are stored, and still before any pixel is written, it throws the failures
    /// of `TPImage::MatRoi`, also on a rectangle or step that makes no sense, the trace text of `modYWithC` on chroma
    /// types (valid until the thread's next failure of that kind), "ERROR - TLutYDrDb::proc -
    /// inOutY16U.type()!=CV_16UC1" and, for details and the extra plane, further "ERROR - TVelline::proc - ..." texts.
    /// The flags stay set then, the caches are as they were, and the next `proc` does the work.
    bool proc(cv::Rect roi, int level, cv::Mat rYE16U);

    /// The luminance that the last `proc` rendered, CV_16UC1. The next `proc` that changes it writes into the same
    /// pixels where the size stays, and a header of the host on them sees that. The host may also put a plane of its
    /// own here, which gets the result if it fits. Pixels that the picture, a cache or a copy of the engine shows too
    /// are not written; the result then moves to others.
    cv::Mat& getRoiY();

protected:
    /// Stores rectangle and step; the caches are stale if either differs.
    void setRoi(cv::Rect roi, int level);

    /// True if any of the six parameters of scale `s` is not zero in the sense of `bNZ`.
    bool bNeedSHMix(int s);

    /// True for 0.01 and more, -0.01 and less, and NaN.
    bool bNZ(float v);

    /// True for a difference of 0.01 or more.
    bool neq(float a, float b);

    /// The three points (0, 0), (32768, 32768), (65535, 65536) and their number; the last ordinate is intentional.
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
    int m_reserved0;   ///< read by nothing
    int m_reserved1;   ///< read by nothing
    float m_k[9];      ///< strengths by `index(scale, zone)`, about -1..1; set the scale's flag after a change
    float m_t[9];      ///< thresholds by `index(scale, zone)`, about -1..1; set the scale's flag after a change
    float m_light[6];  ///< the light curve, by `Light`, about -1..1; set `m_bChangedY` after a change
    float m_mix[3];    ///< colour-to-luminance mix, by `Mix`, about -1..1; set `m_bChangedY` after a change

    bool m_bChangedS;  ///< parameters or plane of the small scale have changed; `proc` clears it
    bool m_bChangedM;  ///< parameters or plane of the medium scale have changed; `proc` clears it
    bool m_bChangedL;  ///< parameters or plane of the large scale have changed; `proc` clears it
    bool m_bChangedY;  ///< `m_light`, `m_mix`, `m_Y` or chroma has changed; `proc` clears it and renders all scales too

    cv::Mat m_Y;   ///< the picture's luminance, to which `proc` adds the details; the host sets it after `setup`
    cv::Mat m_DS;  ///< the picture's small-scale detail
    cv::Mat m_DM;  ///< the picture's medium-scale detail
    cv::Mat m_DL;  ///< the picture's large-scale detail
    cv::Mat m_Dr;  ///< the picture's Dr, enlarged to full size and smoothed
    cv::Mat m_Db;  ///< the picture's Db, enlarged to full size and smoothed

    cv::Rect m_roi;  ///< the rectangle of the last `proc`: origin in pixels of the picture, size in those of the result
    int m_level;     ///< the sampling step of the last `proc`, 1 for every pixel
    bool m_bRoiChanged;  ///< rectangle, step or picture has changed; `proc` clears it
    cv::Mat m_rY;        ///< cache: the rectangle's luminance under mix and light curve
    cv::Mat m_rDS;       ///< cache: its small-scale detail after the curves
    cv::Mat m_rDM;       ///< cache: its medium-scale detail after the curves
    cv::Mat m_rDL;       ///< cache: its large-scale detail after the curves
    cv::Mat m_roiY;      ///< the finished luminance, what `getRoiY` returns

    int m_maxPlainLevel;  ///< the largest step at which details are sampled without a low-pass; 1 before a long `setup`

private:
    struct Stale;
    struct Tables;
    KESTROVA_HIDDEN Stale staleParts(cv::Rect roi, int level, const cv::Mat& extra);
    KESTROVA_HIDDEN void requirePlanes(const Stale& stale) const;
    KESTROVA_HIDDEN void renew(const Stale& stale, const cv::Mat& extra);

    KESTROVA_HIDDEN std::shared_ptr<const Tables> tablesFor(bool needsLight, const bool curved[]) const;

    std::shared_ptr<const void> m_roiYUsers;  ///< held by each copy of the engine whose m_roiY has these pixels
    std::shared_ptr<const Tables> m_tables;   ///< the curves of the last calls, with the parameters that they are of
};
