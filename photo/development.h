#pragma once

#include <memory>
#include <opencv2/core.hpp>
#include <optional>

#include "photo/control.h"
#include "photo/photograph.h"
#include "photo/settings.h"

namespace kestrova::photo {

/// A photograph that is being developed: opened once, then rendered as often as the host likes, with settings that
/// change. It finds out itself what a change makes stale, and computes that.
///
///     Development development(readPhotograph("in.jpg"));
///     development.set(settings);
///     cv::Mat pixels = development.render().pixels;
///
/// Settings that ask for nothing give the photograph's own pixel values back, every one. Whatever has been asked for,
/// the same settings give the same bits with any number of threads, and any rectangle is the cut-out of the whole.
///
/// All functions throw `Error`. One Development serves one thread at a time; several run side by side on several.
class KESTROVA_PHOTO_EXPORT Development {
public:
    /// What a development may take.
    struct Options {
        int threads = 0;  ///< at most as many, whatever OpenMP's own number is; 0 for one a processor
        /// What may be kept of a view so that moving a slider computes little: bytes. A view that needs more is
        /// rendered in pieces that are dropped.
        std::size_t keptForView = std::size_t{512} << 20;
        /// Refuses with kind memory what would need more, beyond the photograph's own pixels; 0 for no limit.
        std::size_t mostMemory = 0;
    };

    /// Opens a photograph, whose pixels are shared: they must not change from now on.
    explicit Development(Photograph photograph) : Development(std::move(photograph), Options()) {}
    /// Likewise within bounds.
    Development(Photograph photograph, const Options& options);
    ~Development();
    /// What is left can be destroyed or assigned to.
    Development(Development&&) noexcept;
    /// Likewise.
    Development& operator=(Development&&) noexcept;

    /// What to render from now on. Throws as `Settings::check`, with nothing changed.
    void set(const Settings& settings);
    /// What was set last; at first what asks for nothing.
    const Settings& settings() const;

    /// The size of the whole rendering at step 1: turned, straightened, cropped and resized.
    cv::Size size() const;

    /// What a rendering is to be.
    struct Output {
        int bits = 8;                    ///< of each channel: 8 or 16
        std::optional<Profile> profile;  ///< that of the photograph without
        int maskOfLayer = -1;            ///< also renders the mask of this layer
    };
    /// What a rendering is.
    struct Rendering {
        cv::Mat pixels;   ///< CV_8UC4 or CV_16UC4: B, G, R, A, not premultiplied
        cv::Mat mask;     ///< CV_8UC1 of the same size, 255 inside; empty unless asked for
        Profile profile;  ///< of the pixels
    };

    /// Renders a rectangle of the whole, in pixels of step 1, at every `step`-th pixel: each pixel of the result is the
    /// mean of `step` x `step` ones. The rectangle is cut at the edges of the whole, and its corner moved to a multiple
    /// of `step`. The result has width / step x height / step pixels, at least one either way.
    ///
    /// `control`, which may be null, hears of the progress and can cancel, which takes effect within 50 ms at 24
    /// megapixels. What a cancelled rendering has prepared is kept, the next one goes on from there.
    Rendering render(const cv::Rect& view, int step, const Output& output, Control* control = nullptr);
    /// The whole.
    Rendering render(const Output& output, Control* control = nullptr);
    /// The whole in 8 bits, in the photograph's own profile.
    Rendering render() { return render(Output()); }

    /// An upper bound of what rendering the whole takes beyond the photograph's own 8 bytes a pixel: 4 or 8 bytes a
    /// pixel for the result, 10 where more than colour changes, 3 for colour noise, 3 for each layer, 50 MB a thread,
    /// and what is kept for a view.
    static std::size_t memoryFor(cv::Size photograph, const Settings& settings, const Output& output,
                                 const Options& options);

private:
    struct KESTROVA_PHOTO_HIDDEN State;
    std::unique_ptr<State> m_state;
};

}  // namespace kestrova::photo
