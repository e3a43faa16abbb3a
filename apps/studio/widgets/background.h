#pragma once

namespace kestrova::studio {

/// How far a thread stands back behind the window's, in steps of niceness. Each step costs a thread about a tenth of
/// its processor time while others compete for it; an idle processor is used in full.
enum class Background {
    view = 5,       ///< what the view waits for: not starved by another busy process
    exporting = 5,  ///< what may take a while
    tiles = 10      ///< thumbnails, previews and the histogram
};

/// Lets the calling thread, which is the window's, and those that it starts to paint run as soon as they have something
/// to do, for a short time each, rather than after the slice of whoever has the processor. Threads that stand back give
/// that up.
void answerFirst();

/// Lets the calling thread, and those that it starts from now on, stand back so that the window answers while they keep
/// every processor busy. Where the system knows no such thing, nothing happens.
void standBack(Background place);

}  // namespace kestrova::studio
