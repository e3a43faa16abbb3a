#include <QColorSpace>
#include <QFile>
#include <QPainter>
#include <algorithm>
#include <cstdio>
#include <new>

#include "development.h"
#include "image_files.h"
#include "options.h"
#include "pixels.h"
#include "program.h"
#include "progress_bar.h"
#include "refusal.h"

namespace {

/// Both pictures in one, each `width` pixels wide, with a white gap between them.
QImage sideBySide(const QImage& before, const QImage& after, int width) {
    const int height = std::max(1, qRound(static_cast<double>(width) * after.height() / after.width()));
    const int gap = width / 50;
    QImage both(2 * width + gap, height, after.format());
    if (both.isNull()) throw std::bad_alloc();
    both.fill(Qt::white);
    QPainter painter(&both);
    int x = 0;
    for (const QImage* image : {&before, &after}) {
        painter.drawImage(x, 0, image->scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
        x += width + gap;
    }
    return both;
}

/// The whole job: file to picture, picture to developed picture, that to file.
void run(const Options& options) {
    const QString in = QFile::decodeName(options.in.c_str()), out = QFile::decodeName(options.out.c_str());
    checkSuffix(out);
    ProgressBar bar(!options.quiet);
    TProgress& progress = bar.progress();

    const QImage image = readImage(in);
    proceed(progress.prog(5, 100));

    const Developed developed = develop(pictureOf(image), options.settings, progress);
    QImage result = imageOf(developed.red, developed.green, developed.blue, isDeep(image));
    if (options.compare > 0) {
        const cv::Rect view = options.settings.view.value_or(cv::Rect(0, 0, image.width(), image.height()));
        result = sideBySide(image.copy(view.x, view.y, view.width, view.height), result, options.compare);
    }
    result.setColorSpace(image.colorSpace());
    result.setDotsPerMeterX(image.dotsPerMeterX());
    result.setDotsPerMeterY(image.dotsPerMeterY());

    writeImage(result, out, options.quality, [&] { proceed(progress.prog(99, 100)); });
    progress.done();
}

}  // namespace

int main(int argc, char** argv) {
    return runProgram("kestrova-develop", [&] {
        const Options options = readOptions(argc, argv);
        switch (options.task) {
            case Options::Task::help: std::fputs(kHelp, stdout); break;
            case Options::Task::version: std::puts("kestrova-develop " KESTROVA_VERSION); break;
            case Options::Task::develop: run(options); break;
        }
    });
}
