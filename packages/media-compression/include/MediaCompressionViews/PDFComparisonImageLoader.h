#pragma once

#include <QImage>
#include <QString>

// Renders one page of a PDF for the comparison view, its longer side maxPixel pixels, on white
// paper. Blocking: call it on a worker thread; safe from several threads at once (the PDF
// renderer serialises itself). A null QImage when the file, the page or its size is unusable.
class PDFComparisonImageLoader {
public:
    [[nodiscard]] static QImage imageAt(const QString& path, int pageIndex, int maxPixel);
};
