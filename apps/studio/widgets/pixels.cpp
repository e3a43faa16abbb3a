#include "studio/widgets/pixels.h"

#include <QFile>
#include <QTextDocument>

namespace kestrova::studio {

std::string fileName(const QString& path) { return QFile::encodeName(path).toStdString(); }

QString fileName(const std::string& path) { return QFile::decodeName(path.c_str()); }

QString withoutMarkup(const QString& text) { return Qt::mightBeRichText(text) ? text.toHtmlEscaped() : text; }

QImage toImage(const cv::Mat& bgra) {
    CV_Assert(bgra.type() == CV_8UC4);
    auto* owner = new cv::Mat(bgra);
    return QImage(
        const_cast<const uchar*>(owner->data), owner->cols, owner->rows, static_cast<qsizetype>(owner->step),
        QImage::Format_ARGB32, [](void* mat) { delete static_cast<cv::Mat*>(mat); }, owner);
}

}  // namespace kestrova::studio
