#include <QColorSpace>
#include <QFile>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include "development.h"
#include "image_files.h"
#include "options.h"
#include "pixels.h"
#include "progress_bar.h"
#include "refusal.h"

namespace {

constexpr int kDone = 0;
constexpr int kRefused = 2;
constexpr int kCancelled = 130;

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

int refuse(std::string_view reason) {
    reason = reason.substr(0, reason.find('\n'));
    std::fprintf(stderr, "kestrova-develop: %.*s\n", static_cast<int>(reason.size()), reason.data());
    return kRefused;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const Options options = readOptions(argc, argv);
        switch (options.task) {
            case Options::Task::help: std::fputs(kHelp, stdout); break;
            case Options::Task::version: std::puts("kestrova-develop " KESTROVA_VERSION); break;
            case Options::Task::develop: run(options); break;
        }
        return kDone;
    } catch (const Cancelled&) {
        return kCancelled;
    } catch (const std::bad_alloc&) {
        return refuse("there is not enough memory");
    } catch (const std::exception& failure) {
        return refuse(failure.what());
    } catch (const char* text) {  // the library's failures
        return refuse(text);
    } catch (int code) {
        return refuse("the library failed with code " + std::to_string(code));
    } catch (...) {
        return refuse("unknown failure");
    }
}
