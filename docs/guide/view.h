#pragma once

#include <kestrova/kestrova.h>

//! [class]
// One photograph in an editor: opened once, rendered whenever a slider moves or the window scrolls. For one thread.
class PictureView {
public:
    // Pixels are CV_8UC4: B, G, R, A. False if the progress callback has answered false: open it again then.
    bool open(const cv::Mat& pixels, TProgress* progress = nullptr);

    void setClarity(float strength);   // -1..1: contrast of medium-sized detail
    void setShadows(float light);      // -1..1: above 0 brightens dark parts
    void setVibrance(float strength);  // -1..1: above 0 strengthens weak colours

    // The pixels of every `step`-th pixel of `part` of the picture, for a window of part.size() / step.
    cv::Mat render(const cv::Rect& part, int step);

private:
    static cv::Mat takeDetail(cv::Mat& rest, int radius);
    cv::Mat sampled(const cv::Mat& plane, const cv::Rect& view, int step) const;

    TPImage m_picture;
    TVelline m_engine;
    TColorAdjVL m_colour;
};
//! [class]
