#include <QColorSpace>
#include <QFile>
#include <cstdio>

#include "development.h"
#include "image_files.h"
#include "options.h"
#include "pixels.h"
#include "program.h"
#include "progress_bar.h"
#include "refusal.h"

namespace {

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
