#pragma once

#include <opencv2/core.hpp>

#include "kestrova/image/tpimage.h"

namespace kestrova::image {

/// True for a plane that has a size but no pixels, as one does whose own allocation was refused. Internal.
inline bool withoutMemory(const cv::Mat& plane) { return !plane.data && plane.rows > 0 && plane.cols > 0; }

/// True if `plane` has no pixels where one of that size has some. Internal.
inline bool smaller(const cv::Mat& plane, int cols, int rows) {
    return plane.cols < cols || plane.rows < rows || withoutMemory(plane);
}

/// The planes of a `TPImage` for a size, made before the first of them is assigned: without memory the image is as it
/// was. Internal.
struct NewPlanes {
    cv::Mat Y, Dr, Db, mask;

    /// As `TPImage::create` makes them: those of `image` where they fit.
    NewPlanes(const TPImage& image, int width, int height)
        : Y(image.m_Y), Dr(image.m_Dr), Db(image.m_Db), mask(image.m_mask) {
        if (width == Y.cols && height == Y.rows && !withoutMemory(Y)) return;
        const int halfWidth = TPImage::half(width), halfHeight = TPImage::half(height);
        Y.create(height, width, CV_16UC1);
        Dr.create(halfHeight, halfWidth, CV_16UC1);
        Db.create(halfHeight, halfWidth, CV_16UC1);
        mask.create(halfHeight, halfWidth, CV_8UC1);
    }

    void assignTo(TPImage& image) const {
        image.m_Y = Y;
        image.m_Dr = Dr;
        image.m_Db = Db;
        image.m_mask = mask;
    }
};

}  // namespace kestrova::image
