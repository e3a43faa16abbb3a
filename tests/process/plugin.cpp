// What a plug-in of a host does with the library: some work on a picture that is worth a team of threads.
#include <kestrova/kestrova.h>

extern "C" int workOfPlugin() {
    constexpr int kSide = 1024;
    const cv::Mat in(kSide, kSide, CV_16UC1, cv::Scalar(1000));
    cv::Mat out;
    extremeSharpen(in, out);
    return out.at<unsigned short>(kSide / 2, kSide / 2);
}
