#pragma once

#include <QByteArray>
#include <QSizeF>
#include <QString>
#include <QStringList>

#include <functional>

// Real PDFs for the PDF tests: LaTeX manuals from the system, documents drawn with
// QPdfWriter, and the command-line PDF tools as independent judges of our output.
namespace PdfTestSupport {

// A manual from the texlive documentation folder, or empty when it is not installed.
QString manual(const QString& fileName);

// A text document of `pages` pages of `pageSize` points, drawn with QPdfWriter.
QString writeTextPdf(const QString& folder, const QString& fileName, int pages, QSizeF pageSize = {612, 792});

struct ToolRun {
    int exitCode = -1;
    QString output; // standard output and error, merged
};
bool hasTool(const QString& name);
ToolRun runTool(const QString& program, const QStringList& arguments);

// Empty when all three of qpdf, mutool and gs accept `path` without a warning; otherwise
// what they said. Tools that are not installed are skipped.
QString validationComplaints(const QString& path);

// A small JPEG of a gradient.
QByteArray jpeg(int width, int height, bool grayscale);

QByteArray readAll(const QString& path);
void writeAll(const QString& path, const QByteArray& bytes);
// An executable shell script.
QString writeScript(const QString& folder, const QString& name, const QString& body);

bool waitUntil(const std::function<bool()>& condition, int timeoutMilliseconds);

} // namespace PdfTestSupport
