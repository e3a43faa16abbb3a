#pragma once

#include <QImage>
#include <QString>
#include <functional>

/// Reads a PNG or JPEG file, turned as its camera says. Throws Refusal.
QImage readImage(const QString& path);

/// Throws Refusal if the suffix of `path` is not one of those that images are written to.
void checkSuffix(const QString& path);

/// Writes a PNG or JPEG file, by the suffix; `quality` is that of JPEG, 1..100. The file is written beside the target
/// and then renamed in one step, after `lastCheck`, which may throw: on any failure the target is as it was and nothing
/// lies beside it. Throws Refusal.
void writeImage(const QImage& image, const QString& path, int quality, const std::function<void()>& lastCheck);
