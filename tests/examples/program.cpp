#include "program.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <cmath>
#include <limits>

QProcessEnvironment programEnvironment() {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("OMP_WAIT_POLICY", "passive");
    return environment;
}

Outcome runProgram(const QString& program, const QStringList& arguments, const QProcessEnvironment& environment) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    Outcome run;
    const int patience = 300000;
    if (!process.waitForFinished(patience)) {
        process.kill();
        process.waitForFinished();
    } else if (process.exitStatus() == QProcess::NormalExit) {
        run.code = process.exitCode();
    }
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

QString ProgramTest::scratch(const QString& name) const { return m_directory.filePath(name); }

QString ProgramTest::saved(const QImage& image, const QString& name) const {
    EXPECT_TRUE(image.save(scratch(name)));
    return scratch(name);
}

QString ProgramTest::written(const QByteArray& bytes, const QString& name) const {
    QFile file(scratch(name));
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_EQ(file.write(bytes), bytes.size());
    return scratch(name);
}

QStringList ProgramTest::files() const {
    return QDir(m_directory.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
}

QString ProgramTest::photo(const QString& name) { return QString(KESTROVA_PHOTOS "/") + name; }

QByteArray ProgramTest::bytesOf(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}

namespace {

template <class SquaredError>
double psnrOf(const QImage& first, const QImage& second, const SquaredError& squaredError) {
    if (first.size() != second.size()) return 0;
    const QImage a = first.convertToFormat(QImage::Format_RGBX64), b = second.convertToFormat(QImage::Format_RGBX64);
    double sum = 0;
    for (int y = 0; y < a.height(); ++y) {
        const auto* p = reinterpret_cast<const QRgba64*>(a.constScanLine(y));
        const auto* q = reinterpret_cast<const QRgba64*>(b.constScanLine(y));
        for (int x = 0; x < a.width(); ++x)
            sum += squaredError(p[x].red() - q[x].red(), p[x].green() - q[x].green(), p[x].blue() - q[x].blue());
    }
    if (sum == 0) return std::numeric_limits<double>::infinity();
    return 10 * std::log10(65535.0 * 65535.0 * a.width() * a.height() / sum);
}

}  // namespace

double psnr(const QImage& a, const QImage& b) {
    return psnrOf(a, b, [](double r, double g, double blue) { return (r * r + g * g + blue * blue) / 3; });
}

double psnrOfLuminance(const QImage& a, const QImage& b) {
    return psnrOf(a, b, [](double r, double g, double blue) {
        const double luminance = 0.299 * r + 0.587 * g + 0.114 * blue;
        return luminance * luminance;
    });
}
