#include "MediaCompressionViews/PDFComparisonImageLoader.h"

#include <QFile>
#include <QPainter>
#include <QtPdf/QPdfDocument>

#include <algorithm>
#include <cmath>

namespace {

// Readers accept the header anywhere in the first kilobyte. Checking it first keeps files that
// are plainly no PDF away from the renderer, which leaks a little memory on every refused file.
bool looksLikePdf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) && file.read(1024).contains("%PDF-");
}

} // namespace

QImage PDFComparisonImageLoader::imageAt(const QString& path, int pageIndex, int maxPixel)
{
    if (maxPixel <= 0 || !looksLikePdf(path))
        return {};
    QPdfDocument document;
    if (document.load(path) != QPdfDocument::Error::None || pageIndex < 0 || pageIndex >= document.pageCount())
        return {};
    const QSizeF box = document.pagePointSize(pageIndex);
    if (!(box.width() > 0) || !(box.height() > 0))
        return {};
    const double scale = maxPixel / std::max(box.width(), box.height());
    const QSize size(std::max(1, int(std::lround(box.width() * scale))),
                     std::max(1, int(std::lround(box.height() * scale))));
    const QImage page = document.render(pageIndex, size);
    if (page.isNull())
        return {};
    // Pages without a painted background come out transparent; the comparison shows paper.
    QImage paper(page.size(), QImage::Format_RGB32);
    paper.fill(Qt::white);
    QPainter painter(&paper);
    painter.drawImage(0, 0, page);
    painter.end();
    return paper;
}
