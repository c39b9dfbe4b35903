#pragma once

#include <QString>

class QPdfDocument;

// Opening a PDF the user handed us. Only a regular file is ever opened: a FIFO or device
// named ".pdf" would block a reader forever, so it is refused from its metadata alone.
namespace PDFSourceFile {

bool isRegularFile(const QString& path);
// Size in bytes of a regular file, -1 for anything else.
qint64 regularFileSize(const QString& path);
// Loads `path` into `document`; false for a non-regular file, a damaged file, or a file
// that needs a password.
bool load(QPdfDocument& document, const QString& path);
// Page count of a readable PDF, -1 otherwise.
int pageCount(const QString& path);

} // namespace PDFSourceFile
