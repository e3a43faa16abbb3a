#include "chroma.h"

Chroma enlargedChroma(const TPImage& picture) {
    Chroma chroma;
    upSize2XGuidedByYSimple(picture.m_Y, picture.m_Dr, chroma.dr);
    upSize2XGuidedByYSimple(picture.m_Y, picture.m_Db, chroma.db);
    return chroma;
}

//! [use]
Chroma smoothedChroma(const TPImage& picture) {
    const cv::Mat none(picture.m_Y.size(), CV_16UC1, cv::Scalar(32768));  // no detail is wanted here
    TVelline engine;
    engine.setup(picture.m_Y, none, none, none, picture.m_Dr, picture.m_Db, nullptr);
    return {engine.m_Dr, engine.m_Db};
}
//! [use]
