#include "PDFSourceFile.h"

#include <QFile>
#include <QPdfDocument>

#include <sys/stat.h>

namespace PDFSourceFile {

qint64 regularFileSize(const QString& path)
{
    struct stat info {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0 || !S_ISREG(info.st_mode)) return -1;
    return qint64(info.st_size);
}

bool isRegularFile(const QString& path)
{
    return regularFileSize(path) >= 0;
}

bool load(QPdfDocument& document, const QString& path)
{
    if (!isRegularFile(path)) return false;
    return document.load(path) == QPdfDocument::Error::None && document.status() == QPdfDocument::Status::Ready;
}

int pageCount(const QString& path)
{
    QPdfDocument document;
    if (!load(document, path)) return -1;
    return document.pageCount();
}

} // namespace PDFSourceFile
