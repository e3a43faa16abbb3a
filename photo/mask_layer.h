#pragma once

#include <kestrova/kestrova.h>

#include <deque>
#include <memory>
#include <vector>

#include "photo/engine.h"
#include "photo/mask_blocks.h"
#include "photo/reduced.h"
#include "photo/settings.h"
#include "photo/source.h"

namespace kestrova::photo {

/// The photograph at the size of its masks, as the brush reads it for strokes with a tolerance.
struct MaskPicture {
    cv::Mat Y, dr, db;  ///< CV_8UC1, CV_16UC1, CV_16UC1
    int n = 2;          ///< pixels of the photograph to one of the mask
};

/// Half the size of the photograph, and less for those of more than some 25 megapixels. `steps` gets 1 in all.
std::shared_ptr<const MaskPicture> computeMaskPicture(const Source& source, Steps& steps);

/// Paints the mask of a layer, and goes on from what it has painted where only dots and strokes have been added: a
/// stroke under way costs its new dots. It goes back by strokes without painting those before them, as far as what they
/// have painted over takes no more memory than four masks.
class MaskPainter {
public:
    MaskPainter(std::shared_ptr<const MaskPicture> picture, cv::Size photograph);

    /// CV_8UC1 at the size of the picture, 255 inside. After a cancel the next call paints the latest stroke anew.
    cv::Mat paint(const Mask& mask, Steps& steps);
    int reduction() const { return m_picture->n; }

private:
    struct Brush : TDrawMask {
        using TDrawMask::m_mask;
        using TDrawMask::m_stroke;
    };
    struct Before {
        std::size_t strokes;  ///< were painted by then
        MaskBlocks blocks;    ///< what the next one has painted over
    };

    bool continues(const std::vector<Stroke>& strokes) const;
    void goBack(const std::vector<Stroke>& strokes);
    void startAnew();
    void beginStroke();
    void paintFrom(const Stroke& stroke, std::size_t firstPoint, Steps& steps);
    void forgetOldest();

    std::shared_ptr<const MaskPicture> m_picture;
    cv::Size m_photograph;
    Brush m_brush;
    std::vector<Stroke> m_painted;
    std::deque<Before> m_before;  ///< the latest strokes, the last one last
    bool m_valid = false;         ///< the mask is that of `m_painted`
    bool m_lastIsOpen = false;    ///< dots can be added to the last stroke
};

}  // namespace kestrova::photo
