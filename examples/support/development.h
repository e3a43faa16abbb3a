#pragma once

#include <kestrova/kestrova.h>

#include <optional>

#include "detail_planes.h"

/// What the user wants of a picture. All zero is neutral: the picture as it is.
struct Settings {
    DetailFilter detail = DetailFilter::guided;
    float strengths[9] = {};   ///< in the engine's order: 3 x scale + zone
    float thresholds[9] = {};  ///< likewise
    float light[6] = {};       ///< brightness, contrast, highlights, shadows, whites, blacks
    float mix[3] = {};
    float temperature = 0;
    float tint = 0;
    float saturation = 0;
    float vibrance = 0;
    std::optional<cv::Rect> view;  ///< in pixels of the picture; the whole of it without
    int step = 1;                  ///< every step-th pixel of the view
};

/// A developed picture: three CV_16UC1 planes of one size.
struct Developed {
    cv::Mat red, green, blue;
};

/// Runs the whole road: takes the picture apart, prepares the detail engine, renders the view, adjusts its colour and
/// converts it back. Throws Refusal for a view that the picture does not have, Cancelled, and what the library throws.
Developed develop(const TPImage& picture, const Settings& settings, TProgress& progress);
