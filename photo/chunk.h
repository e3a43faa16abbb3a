#pragma once

#include <kestrova/kestrova.h>

#include <array>
#include <memory>
#include <vector>

#include "photo/chroma_noise.h"
#include "photo/colour_table.h"
#include "photo/scales.h"
#include "photo/settings.h"
#include "photo/source.h"

namespace kestrova::photo {

/// What chunks of one view read of the whole photograph. Null or empty is what the settings do not need.
struct Prepared {
    std::shared_ptr<const Scales> scales;
    std::shared_ptr<const ChromaNoise> chroma;
    std::vector<Reduced> masks;  ///< of the layers: CV_8UC1, 255 inside
};

/// What to render with: the photograph as a whole, then each layer on top of what is there by then.
struct Recipe {
    Adjustments whole;
    std::vector<Adjustments> layers;  ///< in full, not on top of `whole`
    /// The colours of the whole and of each layer, made once for all chunks.
    std::vector<std::shared_ptr<const ColourTable>> colours;

    bool operator==(const Recipe& o) const { return whole == o.whole && layers == o.layers && colours == o.colours; }
};

/// What a rectangle of the rendering is made of, and what has been made of it so far. Rendering again with another
/// recipe computes only what the difference makes stale. One chunk serves one thread at a time.
class Chunk {
public:
    /// `size` pixels, each the mean of `step` x `step` pixels of the photograph, from `origin` of it on.
    Chunk(cv::Point origin, cv::Size size, int step) : m_origin(origin), m_size(size), m_step(step) {}

    /// The pixels in the working space: CV_16UC4. Valid until the next call.
    const cv::Mat& render(const Source& source, const Prepared& prepared, const Recipe& recipe, const Steps& steps);
    /// Another number after each call of `render` that has changed the pixels.
    unsigned version() const { return m_version; }
    /// The mask of a layer: CV_8UC1 of the chunk's size, or empty if the layer has none.
    const cv::Mat& mask(const Prepared& prepared, std::size_t layer);

    /// Bytes a pixel of a chunk that has been rendered with `layers` layers.
    static int bytesAPixel(std::size_t layers) { return 76 + 30 * static_cast<int>(layers); }

private:
    /// The engine for the photograph as a whole or for a layer, and the planes that it reads.
    struct Stage {
        Adjustments adjustments;
        bool fresh = true;
        cv::Mat base, detail[3];
        std::array<float, 18> split{};  ///< what the planes were split by
        TVelline engine;
        std::shared_ptr<const ColourTable> colourSource;
        ColourTable colour;  ///< a copy of it: the core's tables serve one thread at a time
    };

    /// The mask of a layer, and the cells that it was read from.
    struct Masked {
        cv::Mat part, mask;
    };

    cv::Mat readMask(const Reduced& reduced) const;
    void read(const Source& source, const Prepared& prepared);
    void readRows(const Source& source, const Scales* scales);
    void develop(Stage& stage, const Adjustments& adjustments, const std::shared_ptr<const ColourTable>& colour,
                 const Prepared& prepared, cv::Mat& out);
    void split(Stage& stage, const Adjustments& adjustments);
    void setEngine(Stage& stage, const Adjustments& adjustments);

    cv::Point m_origin;
    cv::Size m_size;
    int m_step;
    std::shared_ptr<const Scales> m_scales;  ///< what `m_detail` was read from
    Recipe m_recipe;                         ///< what `m_out` was made by
    bool m_current = false;                  ///< and what it was made of is still the same
    unsigned m_version = 0;

    cv::Mat m_rgb;            ///< CV_16UC4
    cv::Mat m_Y, m_dr, m_db;  ///< CV_16UC1
    cv::Mat m_detail[3];      ///< CV_16UC1
    cv::Mat m_texture[3];     ///< CV_8UC1
    SmoothChroma m_smooth;    ///< empty until noise is taken out of it
    cv::Mat m_out, m_layer;   ///< CV_16UC4
    std::vector<Masked> m_masks;
    std::vector<std::unique_ptr<Stage>> m_stages;  ///< the whole, then the layers
};

}  // namespace kestrova::photo
