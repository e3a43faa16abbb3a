#pragma once

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

#include "kestrova/export.h"

class TPImage;  // kestrova/image/tpimage.h

/// The parameters of one command of a mask: of a fill (the value alone), of the start of a stroke, or of a dot.
class KESTROVA_EXPORT TMaskParam {
public:
    /// All 0.
    TMaskParam();
    /// The parameters of a dot, in mask pixels.
    TMaskParam(int x, int y, uchar value, int outerR, int innerR, float opacity, float tolerance);
    /// The parameters of a stroke's start.
    TMaskParam(int startValue, float startScale);
    /// Releases nothing.
    ~TMaskParam() {}

    uchar m_value = 0;       ///< what the dot or the fill writes: 0 erases, 255 paints full
    int m_outerR = 0;        ///< outer radius in mask pixels
    int m_innerR = 0;        ///< radius up to which the dot has full strength, in mask pixels
    float m_opacity = 0;     ///< strength, 0..1
    float m_tolerance = 0;   ///< colour tolerance, see `TDrawMask`; 0 or below means none
    int m_x = 0;             ///< column of the centre in mask pixels
    int m_y = 0;             ///< row of the centre in mask pixels
    int m_startValue = 0;    ///< as given to `drawStart`; read by nothing
    float m_startScale = 0;  ///< as given to `drawStart`; read by nothing
};

/// One command of a mask.
class KESTROVA_EXPORT TMaskCmd {
public:
    /// What the command does.
    enum DrawType {
        DrawSetValue = 0,     ///< fills the mask
        DrawInvert = 1,       ///< inverts the mask
        DrawStrokeStart = 2,  ///< the next dot begins a stroke
        DrawStrokeDot = 3,    ///< paints a dot of the stroke
        DrawStrokeEnd = 4,    ///< closes the group for undo
    };

    /// The end of a stroke: a command that paints nothing.
    TMaskCmd();
    /// A command with parameters that stay the caller's.
    TMaskCmd(DrawType type, TMaskParam* param);

    DrawType m_type = DrawStrokeEnd;  ///< what the command does
    TMaskParam* m_param_p = nullptr;  ///< its parameters; null for `DrawInvert` and `DrawStrokeEnd`
};

/// A brush that paints an 8-bit mask of half the size of a picture, 0 (outside) to 255 (inside).
///
/// **Commands.** Nothing is painted when the host asks for it: each call appends a command, `proc` replays what is
/// pending. `setInImage` once per picture; for each stroke `drawStart`, `drawADot` for each point, `drawEnd`;
/// `setValue` and `invert` between strokes; `proc`; `getMaskRoi`. `undo` removes commands and goes back to the last
/// fill. There is no redo: what is undone is gone, and a host that offers redo keeps its calls and repeats them.
///
/// The picture's own mask is shown until the first command is replayed. Commands start from 255 everywhere or from the
/// latest fill, not from that mask: a host that paints on it keeps a copy and combines the two planes itself.
///
///     brush.setInImage(&picture);                    // a TPImage; the mask becomes a copy of the picture's own
///     brush.setValue(0);                             // nothing selected
///     brush.drawStart(0, 1);
///     brush.drawADot({300, 200}, 255, 40, 20, 0.8f, 0.5f);
///     brush.drawEnd();
///     brush.proc();
///     cv::Mat half = brush.getMaskRoi(view, step);   // half of view.width x half of view.height
///
/// **Scale.** Host coordinates and radii are in picture pixels and are halved, with truncation, when a dot is recorded.
/// The mask has (cols + 1) / 2 x (rows + 1) / 2 pixels for a picture of cols x rows; its pixel (x, y) belongs to the
/// picture's (2 x, 2 y). It has the size of the picture's chroma planes and can blend those as it is (`blendAlpha`);
/// for luminance the host enlarges what `getMaskRoi` gives (`upSize2X`, into a CV_8UC1 plane of the picture's size).
///
/// **Strokes.** The brush keeps a coverage plane for each stroke. Every dot screens the coverage already there, and the
/// mask is the blend of the mask at the start of the stroke and the brush's value under it: overlapping dots of one
/// stroke never pass the stroke's opacity. The last row and the last column of a dot show only when a later dot of the
/// stroke covers them.
///
/// **Tolerance.** A tolerance keeps a dot to colours near the one under its centre, the more strictly the larger it is:
/// 0 (or below, or NaN) covers all colours, and from there small values let large differences through, values around 1
/// stop at visible edges; there is no upper limit. With the differences dY, dDr, dDb of a pixel from the centre, each
/// on 0..1, and the weight w that the dot has there without tolerance, its weight is
///
///     q = min(tolerance (1.5 dY + 6 (dDr + dDb)) / (w + 0.1), 1),    w (1 - (3 - 2 q) q^2)
///
/// so that a pixel is left out where q reaches 1. Values below 0.05 count as none where the radii are equal.
///
/// **Sharing.** Copies share the commands and the planes, pixels included. One object serves one thread.
///
/// **Failures** are thrown texts, caught as `const char*`. Where memory runs out, the text is "ERROR -
/// TDrawMask::<operation> - not enough memory" or that of an operation inside. The object is as it was then, but for
/// `proc`, which keeps what it has replayed; the same call succeeds once there is memory.
class KESTROVA_EXPORT TDrawMask {
public:
    /// Without a picture, a mask and commands.
    TDrawMask();
    /// Shares commands and planes with `other`.
    TDrawMask(const TDrawMask& other);
    /// Shares commands and planes with `other`, as the copy constructor does.
    TDrawMask& operator=(const TDrawMask& other);
    /// Releases commands, profile and planes, unless a copy holds them.
    ~TDrawMask();

    /// Binds a picture: its luminance, halved by `downSize2X`, its chroma planes (shared) and its mask (shared), of
    /// which the mask becomes a copy. Commands of an earlier picture are dropped. Throws, with nothing changed,
    /// "ERROR - TDrawMask::setInImage - image is null", "ERROR - TDrawMask::setInImage - image->m_mask.type() !=
    /// CV_8UC1", and what `downSize2X` throws for an empty picture.
    void setInImage(TPImage* image);

    /// Binds planes at mask size (shared): `y` CV_8UC1, `dr` and `db` CV_16UC1 or empty; these have to be of the size
    /// of `y` only where a dot has a tolerance. The mask becomes 255 everywhere, and commands of an earlier picture are
    /// dropped. Planes of the size that is bound already change nothing at all, even of another picture. Throws, with
    /// nothing changed, "Error - TFDrawMask::resetMask - ippStsError" if `y` is empty, "ERROR - TDrawMask::setInImage
    /// - ..." for types that do not fit, and "ERROR - plane - dims>2".
    void setInImage(const cv::Mat& y, const cv::Mat& dr, const cv::Mat& db);

    /// Begins a stroke; the two numbers are kept with the command and read by nothing.
    void drawStart(int startValue, float startScale);
    /// Adds a hard dot of full opacity around `p`, without tolerance. `value` 0 erases, 255 paints full.
    void drawADot(const cv::Point& p, uchar value, int radius);
    /// Adds a dot around `p` of full strength up to `innerR` that falls off like a Gaussian and ends at `outerR`, hard
    /// where the radii are equal. `value` 0 erases, 255 paints full; `opacity` 0..1; `tolerance` as above.
    void drawADot(const cv::Point& p, uchar value, int outerR, int innerR, float opacity, float tolerance);
    /// Ends the stroke: `undo` removes it as a whole.
    void drawEnd();

    /// Fills the mask with `value`.
    void setValue(uchar value);
    /// Inverts the mask.
    void invert();
    /// Removes the last fill, inversion or finished stroke; the next `proc` rebuilds the mask from the latest fill that
    /// is left, or from 255. An unfinished stroke is not removed, only replayed. Throws "Error: TFDrawMask::undo Mask
    /// cmd stack is empty!!!", and "ERROR - TDrawMask::undo - stroke without a start" with nothing changed.
    void undo();
    /// Drops all commands: the mask becomes a copy of that of the last `TPImage` bound, even if planes of another size
    /// have been bound since, and has no pixels if there was none.
    void reset();

    /// Replays what is pending; always true. The first replay begins with 255 everywhere, also where the picture's own
    /// mask is another. Throws "Error - TFDrawMask::resetMask - ippStsError" where commands are pending without a
    /// picture; "ERROR -- TDrawMask::updateLUT - Inner circle is larger than outter circle." for such a dot, which a
    /// second call paints by the profile of the dot before it; "ERROR - TDrawMask::updateLUT - outerR >= 8000" for a
    /// soft dot of that many mask pixels; "ERROR - TDrawMask::drawStrokeDot - ..." for a tolerance where the picture's
    /// planes are not of the mask's size. What was replayed before stays, a later call resumes.
    bool proc();

    /// The mask (CV_8UC1) for a view as `TVelline::proc` renders it: `r` begins at (`r.x`, `r.y`) of the picture and
    /// has the size of the view, `r.width` x `r.height` pixels that lie `step` apart in the picture. The result has
    /// half that size, rounded up, whatever `step` is; at step 1 it is cut off at the edge of the mask. A clone of the
    /// whole mask if `step` is below 1, an empty plane if there is no mask. Clears the dirty flag. Throws what
    /// `TPImage::MatRoi` throws.
    cv::Mat getMaskRoi(const cv::Rect& r, int step);

    /// True if the mask has changed since `getMaskRoi` last fetched it.
    bool bdirty();
    /// Sets the flag that `bdirty` returns.
    void setDirty(bool dirty);

protected:
    /// True if commands are pending.
    bool bNeedUpdate();
    /// Drops all commands.
    void emptyCmdStack();
    /// Fills `mask`; always true. Throws "Error - TFDrawMask::resetMask - ippStsError" where there is no plane.
    bool resetMask(cv::Mat& mask, uchar value);
    /// Inverts `m_mask`; always true. Throws "Error - TFDrawMask::invertMask - ippStsError" where there is no plane.
    bool invertMask();

    /// Replays a dot: the `first` of a stroke begins the coverage plane anew.
    void drawStrokeDot(bool first, TMaskParam* param);
    /// Makes the profile valid for the two radii, in mask pixels. The radii are taken over before those that do not
    /// fit each other are refused: a second call with them returns, and the profile stays the one before.
    void updateLUT(int outerR, int innerR);
    /// Covers a soft dot by the profile. Like the three dots below, it fails where no stroke has begun.
    void drawMaskDotLUT(cv::Point p, int outerR, int innerR, float tolerance);
    /// Covers a soft dot with a smooth step for a profile. Called by nothing in the library.
    void drawMaskDot(cv::Point p, int outerR, int innerR, float tolerance);
    /// Covers a hard dot.
    void drawDumbDot(cv::Point p, int radius);
    /// Clips the patch of a dot to the mask, into the six members below.
    void checkBoundary(cv::Point& p, int radius);
    /// Blends the dot's part of the mask from the mask at the start of the stroke and the coverage; always true.
    bool renderStroke(uchar value, float opacity, cv::Point p, int radius);

    int m_reserved0 = 0;                ///< read by nothing
    int m_reserved1 = 0;                ///< read by nothing
    std::vector<TMaskCmd*> m_cmdStack;  ///< the commands, oldest first; the object owns them
    int m_cmdIdx = -1;                  ///< the last command that has been replayed, -1 for none
    float* m_profile_p = nullptr;       ///< strength of a soft dot by distance from its centre, 8000 entries, or null
    int m_outerR = 0;                   ///< the outer radius that was last given to `updateLUT`
    int m_innerR = 0;                   ///< the inner radius that was last given to `updateLUT`
    cv::Mat m_inY;                      ///< the picture's luminance at mask size, CV_8UC1
    cv::Mat m_inDr;                     ///< the picture's red difference, CV_16UC1
    cv::Mat m_inDb;                     ///< the picture's blue difference, CV_16UC1
    cv::Mat m_mask;                     ///< the mask, CV_8UC1
    cv::Mat m_baseMask;                 ///< the picture's own mask, which `reset` restores
    cv::Mat m_stroke;                   ///< coverage of the running stroke
    cv::Mat m_maskAtStart;              ///< the mask as it was when the stroke began
    int m_patchX0 = 0;                  ///< first column of the dot's clipped patch
    int m_patchX1 = 0;                  ///< end column of the dot's clipped patch
    int m_patchY0 = 0;                  ///< first row of the dot's clipped patch
    int m_patchY1 = 0;                  ///< end row of the dot's clipped patch
    int m_maskX = 0;                    ///< the column of the mask where the clipped patch begins
    int m_maskY = 0;                    ///< the row of the mask where the clipped patch begins
    bool m_firstDot = false;            ///< the next dot begins a stroke
    bool m_dirty = false;               ///< the mask has changed since it was last fetched

private:
    struct Command;
    struct StrokeArea;
    class KESTROVA_HIDDEN DotWeights;
    struct Shown;
    KESTROVA_HIDDEN void append(TMaskCmd::DrawType type, const TMaskParam* param, const char* noMemory);
    KESTROVA_HIDDEN void popCommand();
    KESTROVA_HIDDEN void replay();
    KESTROVA_HIDDEN void fillMask(uchar value);
    KESTROVA_HIDDEN void replaceMask(const cv::Mat& mask);
    KESTROVA_HIDDEN bool fitsMask(const cv::Mat& plane) const;
    KESTROVA_HIDDEN void beginStroke();
    KESTROVA_HIDDEN void touch(const cv::Rect& part);
    KESTROVA_HIDDEN void coverStrokeDot(bool first, const TMaskParam& param, DotWeights& kept);
    KESTROVA_HIDDEN void renderPart(uchar value, float opacity, const cv::Rect& part);
    KESTROVA_HIDDEN void replayDot(bool first, const TMaskParam& param, Shown& last, DotWeights& kept);
    KESTROVA_HIDDEN void show(Shown& dot);
    KESTROVA_HIDDEN void showBut(const cv::Rect& hidden, Shown& dot);
    template <class CoverRows>
    KESTROVA_HIDDEN void coverDot(const cv::Point& p, int radius, float tolerance, const CoverRows& coverRows);

    std::vector<std::shared_ptr<Command>> m_commands;  ///< owns what `m_cmdStack` points to, shared between copies
    std::shared_ptr<float> m_profile;                  ///< owns `m_profile_p`
    int m_profileEnd = 0;                              ///< the entries of the profile from here on are 0
    std::shared_ptr<StrokeArea> m_strokeArea;          ///< shared by the objects that share the stroke's planes
    bool m_rebuildPending = false;                     ///< an undo has emptied the stack since the last replay
};
