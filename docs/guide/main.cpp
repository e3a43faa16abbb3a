#include <cstdio>
#include <exception>

#include "png_file.h"
#include "view.h"

//! [main]
// Opens a photograph and writes two views of it: all of it at half its size, and its middle pixel by pixel.
static void run(const char* in, const char* whole, const char* middle) {
    const cv::Mat photograph = readPng(in);
    PictureView view;
    view.open(photograph);
    view.setClarity(0.6f);
    view.setShadows(0.4f);
    view.setVibrance(0.2f);

    const int w = photograph.cols, h = photograph.rows;
    writePng(view.render(cv::Rect(0, 0, w, h), 2), whole);
    writePng(view.render(cv::Rect(w / 4, h / 4, w / 2, h / 2), 1), middle);
}

int main(int argc, char** argv) {
    if (argc != 4) return std::fputs("usage: first_view PHOTOGRAPH.png WHOLE.png MIDDLE.png\n", stderr), 2;
    Kestrova::setPrinting(false);  // the library's own progress lines
    try {
        run(argv[1], argv[2], argv[3]);
        return 0;
    } catch (const char* text) {  // the library's failures are texts
        std::fprintf(stderr, "first_view: %s\n", text);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "first_view: %s\n", failure.what());
    }
    return 1;
}
//! [main]
