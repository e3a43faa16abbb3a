#pragma once

#include <opencv2/core.hpp>

#include <memory>
#include <vector>

#include "kestrova/export.h"

class TPImage;

/// The parameters of one command of a mask: of a fill (the value alone), of the start of a stroke, or of a dot.
class KESTROVA_EXPORT TMaskParam {
public:
    /// All 0.
    TMaskParam();
    /// Those of a dot.
    TMaskParam(int x, int y, uchar value, int outerR, int innerR, float opacity, float tolerance);
    /// Those of a stroke's start.
    TMaskParam(int startValue, float startScale);
    ~TMaskParam() {}

    uchar m_value = 0;       ///< what the dot or the fill writes: 0 erases, 255 paints full
    int m_outerR = 0;        ///< outer radius in mask pixels
    int m_innerR = 0;        ///< radius up to which the dot has full strength, in mask pixels
    float m_opacity = 0;     ///< strength, 0..1
    float m_tolerance = 0;   ///< colour tolerance; 0 or below means none
    int m_x = 0;             ///< column of the centre in mask pixels
    int m_y = 0;             ///< row of it
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
    /// Takes no part in the ownership of `param`.
    TMaskCmd(DrawType type, TMaskParam* param);

    DrawType m_type = DrawStrokeEnd;  ///< what it does
    TMaskParam* m_param_p = nullptr;  ///< null for `DrawInvert` and `DrawStrokeEnd`
};

/// A brush that paints an 8-bit mask of half the size of a picture, 0 (outside) to 255 (inside).
///
/// Nothing is painted when the host asks for it: each call appends a command, `proc` replays what is pending, and
/// `undo` removes commands and goes back to the last fill. Host coordinates and radii are in picture pixels and are
/// halved, with truncation, when a dot is recorded.
///
/// The brush keeps a coverage plane for each stroke. Every dot screens the coverage already there, and the mask is the
/// blend of the mask at the start of the stroke and the brush's value under it: overlapping dots of one stroke never
/// pass the stroke's opacity. With a colour tolerance a dot weakens with the distance of a pixel's colour from the
/// colour under the brush's centre, so that a stroke stops at edges.
///
/// Order of calls: `setInImage` once per picture; for each stroke `drawStart`, `drawADot` for each point, `drawEnd`;
/// `setValue` and `invert` between strokes; `proc`; `getMaskRoi`. Copies share the commands and the planes, pixels
/// included. One object serves one thread.
class KESTROVA_EXPORT TDrawMask {
public:
    /// Without a picture, a mask and commands.
    TDrawMask();
    /// Shares commands and planes.
    TDrawMask(const TDrawMask&);
    TDrawMask& operator=(const TDrawMask&);
    ~TDrawMask();

    /// Binds a picture: its luminance, halved by `downSize2X`, its colour planes and its mask, of which the mask
    /// becomes a copy. Commands of an earlier picture are dropped. Throws if `image` is null or empty
    /// or its mask is not CV_8UC1, with nothing changed.
    void setInImage(TPImage* image);

    /// Binds planes at mask size: `y` CV_8UC1, `dr` and `db` CV_16UC1, shared; `dr` and `db` may be empty where no dot
    /// has a tolerance. The mask becomes 255 everywhere, and commands of an earlier picture are dropped. Planes of the
    /// size that is bound already change nothing at all. Throws "Error - TFDrawMask::resetMask - ippStsError" if `y` is
    /// empty, and a text if types or sizes do not fit, with nothing changed.
    void setInImage(const cv::Mat& y, const cv::Mat& dr, const cv::Mat& db);

    /// Begins a stroke; the two numbers are kept with the command and read by nothing.
    void drawStart(int startValue, float startScale);
    /// A hard dot of full opacity.
    void drawADot(const cv::Point& p, uchar value, int radius);
    /// A dot of full strength up to `innerR` that falls off like a Gaussian up to `outerR`, hard where the radii are
    /// equal; `opacity` 0..1; `tolerance` from 0.05 on (below it counts as none where the radii are equal).
    void drawADot(const cv::Point& p, uchar value, int outerR, int innerR, float opacity, float tolerance);
    /// Ends the stroke.
    void drawEnd();

    /// Fills the mask.
    void setValue(uchar value);
    /// Inverts the mask.
    void invert();
    /// Removes the last fill, inversion or finished stroke; the next `proc` rebuilds the mask from the latest fill that
    /// is left, or from 255. An unfinished stroke is not removed, only replayed. Throws on an empty stack, and on a
    /// stroke's end without a start, with nothing changed.
    void undo();
    /// Drops all commands: the mask becomes a copy of the picture's own.
    void reset();

    /// Replays what is pending; always true. Throws "Error - TFDrawMask::resetMask - ippStsError" while no picture is
    /// bound, "ERROR -- TDrawMask::updateLUT - Inner circle is larger than outter circle." for such a dot, and refuses
    /// a soft dot whose outer radius is 8000 mask pixels or more, and a tolerance where the picture's planes are not of
    /// the mask's size. What was replayed before stays, a later call resumes.
    bool proc();

    /// The mask (CV_8UC1) for a rectangle `r` of the picture at sampling step `step`, as `TPImage::MatRoi` samples a
    /// half-size plane; a clone of the whole mask if `step` is below 1, an empty plane if there is no mask. Clears the
    /// dirty flag.
    cv::Mat getMaskRoi(const cv::Rect& r, int step);

    /// True if the mask has changed since it was last fetched.
    bool bdirty();
    /// Sets that flag.
    void setDirty(bool dirty);

protected:
    /// True if commands are pending.
    bool bNeedUpdate();
    /// Drops all commands.
    void emptyCmdStack();
    /// Fills `mask`, and inverts `m_mask`; always true. Throw where there is no plane.
    bool resetMask(cv::Mat& mask, uchar value);
    bool invertMask();

    /// Replays a dot: the `first` of a stroke begins the coverage plane anew.
    void drawStrokeDot(bool first, TMaskParam* param);
    /// Makes the profile valid for the two radii.
    void updateLUT(int outerR, int innerR);
    /// A soft dot by the profile.
    void drawMaskDotLUT(cv::Point p, int outerR, int innerR, float tolerance);
    /// A soft dot with a smooth step for a profile. Called by nothing.
    void drawMaskDot(cv::Point p, int outerR, int innerR, float tolerance);
    /// A hard dot.
    void drawDumbDot(cv::Point p, int radius);
    /// Clips the patch of a dot to the mask.
    void checkBoundary(cv::Point& p, int radius);
    /// Blends the dot's patch of the mask from its start and its coverage.
    bool renderStroke(uchar value, float opacity, cv::Point p, int radius);

    int m_reserved0 = 0;                ///< read by nothing
    int m_reserved1 = 0;                ///< read by nothing
    std::vector<TMaskCmd*> m_cmdStack;  ///< the commands, oldest first
    int m_cmdIdx = -1;                  ///< the last command that has been replayed
    float* m_profile_p = nullptr;       ///< strength of a soft dot by distance from its centre
    int m_outerR = 0;                   ///< the outer radius that the profile is valid for
    int m_innerR = 0;                   ///< the inner one
    cv::Mat m_inY;                      ///< the picture's luminance at mask size, CV_8UC1
    cv::Mat m_inDr;                     ///< its red difference, CV_16UC1
    cv::Mat m_inDb;                     ///< its blue difference, CV_16UC1
    cv::Mat m_mask;                     ///< the mask, CV_8UC1
    cv::Mat m_baseMask;                 ///< the picture's own mask, which `reset` restores
    cv::Mat m_stroke;                   ///< coverage of the running stroke
    cv::Mat m_maskAtStart;              ///< the mask as it was when the stroke began
    int m_patchX0 = 0;                  ///< first column of the dot's clipped patch
    int m_patchX1 = 0;                  ///< its end column
    int m_patchY0 = 0;                  ///< its first row
    int m_patchY1 = 0;                  ///< its end row
    int m_maskX = 0;                    ///< the column of the mask where the clipped patch begins
    int m_maskY = 0;                    ///< the row of it
    bool m_firstDot = false;            ///< the next dot begins a stroke
    bool m_dirty = false;               ///< the mask has changed since it was last fetched

private:
    struct Command;
    struct StrokeArea;
    KESTROVA_HIDDEN void append(TMaskCmd::DrawType type, const TMaskParam* param, const char* noMemory);
    KESTROVA_HIDDEN void popCommand();
    KESTROVA_HIDDEN void replay();
    KESTROVA_HIDDEN void fillMask(uchar value);
    KESTROVA_HIDDEN void replaceMask(const cv::Mat& mask);
    KESTROVA_HIDDEN bool bFitsMask(const cv::Mat& plane) const;
    KESTROVA_HIDDEN void beginStroke();
    KESTROVA_HIDDEN void touch(const cv::Rect& part);
    template <class Weights>
    KESTROVA_HIDDEN void coverDot(const cv::Point& p, int radius, float tolerance, const Weights& weights);

    std::vector<std::shared_ptr<Command>> m_commands;  ///< owns what `m_cmdStack` points to, shared between copies
    std::shared_ptr<float> m_profile;                  ///< owns `m_profile_p`
    int m_profileEnd = 0;                              ///< the entries of the profile from here on are 0
    std::shared_ptr<StrokeArea> m_strokeArea;          ///< shared by the objects that share the stroke's planes
    bool m_rebuildPending = false;                     ///< an undo has emptied the stack since the last replay
};
