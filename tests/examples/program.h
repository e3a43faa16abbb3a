#pragma once

#include <gtest/gtest.h>

#include <QByteArray>
#include <QImage>
#include <QProcessEnvironment>
#include <QStringList>
#include <QTemporaryDir>

/// How a run of a program ended.
struct Outcome {
    int code = -1;  ///< -1: did not exit by itself
    QByteArray out;
    QByteArray err;
};

/// The environment that programs are run in: tests run side by side, so threads without work must not spin.
QProcessEnvironment programEnvironment();

/// Runs `program` to its end.
Outcome runProgram(const QString& program, const QStringList& arguments,
                   const QProcessEnvironment& environment = programEnvironment());

/// Tests of a program have a scratch directory each, and the bundled photographs.
class ProgramTest : public testing::Test {
protected:
    /// A path in the scratch directory.
    QString scratch(const QString& name) const;
    /// Saves `image` there and returns its path.
    QString saved(const QImage& image, const QString& name) const;
    /// Writes `bytes` there and returns the path.
    QString written(const QByteArray& bytes, const QString& name) const;
    /// The names of all files there, sorted.
    QStringList files() const;

    static QString photo(const QString& name);
    static QByteArray bytesOf(const QString& path);

private:
    QTemporaryDir m_directory;
};

/// Peak signal to noise ratio in dB over red, green and blue; infinite for equal images, 0 for different sizes.
double psnr(const QImage& a, const QImage& b);

/// The same of luminance, 0.299 R + 0.587 G + 0.114 B.
double psnrOfLuminance(const QImage& a, const QImage& b);
