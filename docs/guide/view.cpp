#include "view.h"

#include <vector>

//! [detail]
// Takes detail finer than about `radius` pixels out of a luminance plane, but for edges. `rest` keeps what is left; the
// result is half of the difference, zero at 32768.
cv::Mat PictureView::takeDetail(cv::Mat& rest, int radius) {
    cv::Mat scaled, smooth, detail;
    rest.convertTo(scaled, CV_32F, 1.0 / 65535);
    TGuidedFilter filter;
    filter.setup({scaled}, scaled, radius, 0.002f);
    filter.proc({rest}, smooth);
    cv::addWeighted(rest, 0.5, smooth, -0.5, 32768, detail);
    rest = smooth;
    return detail;
}
//! [detail]

//! [open]
bool PictureView::open(const cv::Mat& pixels, TProgress* progress) {
    m_picture.convertFrom(pixels.data, pixels.cols, pixels.rows, static_cast<int>(pixels.step));
    cv::Mat rest = m_picture.m_Y;
    const cv::Mat small = takeDetail(rest, 2), medium = takeDetail(rest, 8), large = takeDetail(rest, 32);
    if (!m_engine.setup(m_picture.m_Y, small, medium, large, m_picture.m_Dr, m_picture.m_Db, progress)) return false;
    m_engine.m_Y = rest;  // the engine adds the details to what is left without them
    m_engine.m_bChangedY = true;
    return true;
}
//! [open]

//! [sliders]
void PictureView::setClarity(float strength) {
    for (TVelline::Zone zone : {TVelline::ZoneBase, TVelline::ZoneShadows, TVelline::ZoneMidtones})
        m_engine.m_k[TVelline::index(TVelline::ScaleMedium, zone)] = strength;
    m_engine.m_bChangedM = true;  // without its flag a value has no effect
}

void PictureView::setShadows(float light) {
    m_engine.m_light[TVelline::LightShadows] = light;
    m_engine.m_bChangedY = true;
}

void PictureView::setVibrance(float strength) {
    m_colour.m_vibrance = strength;
    m_colour.m_bChanged = true;
}
//! [sliders]

//! [render]
// A plane of the picture as the engine samples it for a view.
cv::Mat PictureView::sampled(const cv::Mat& plane, const cv::Rect& view, int step) const {
    const bool smooth = step > m_engine.m_maxPlainLevel;
    return TPImage::MatRoi(plane, view.x, view.y, view.width, view.height, step, false, smooth);
}

cv::Mat PictureView::render(const cv::Rect& part, int step) {
    const cv::Rect view(part.x, part.y, part.width / step, part.height / step);  // a size in pixels of the window
    m_engine.proc(view, step, cv::Mat());
    const cv::Mat before = sampled(m_picture.m_Y, view, step), after = m_engine.getRoiY();

    cv::Mat dr, db;  // chroma follows luminance
    m_colour.proc(before, after, sampled(m_engine.m_Dr, view, step), sampled(m_engine.m_Db, view, step), dr, db);

    std::vector<cv::Mat> bgra(4);
    for (cv::Mat& plane : bgra) plane.create(view.size(), CV_8UC1);
    m_picture.YDRDB2RGB8U(after, dr, db, bgra[2], bgra[1], bgra[0]);
    bgra[3].setTo(255);
    cv::Mat pixels;
    cv::merge(bgra, pixels);
    return pixels;
}
//! [render]
