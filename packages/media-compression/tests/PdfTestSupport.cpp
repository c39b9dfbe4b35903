#include "PdfTestSupport.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QImageWriter>
#include <QPainter>
#include <QPageSize>
#include <QPdfWriter>
#include <QProcess>
#include <QStandardPaths>
#include <QThread>

namespace PdfTestSupport {

QString manual(const QString& fileName)
{
    const QString path = QStringLiteral("/usr/share/doc/texlive-doc/latex/base/") + fileName;
    return QFileInfo::exists(path) ? path : QString();
}

QString writeTextPdf(const QString& folder, const QString& fileName, int pages, QSizeF pageSize)
{
    const QString path = folder + QLatin1Char('/') + fileName;
    QPdfWriter writer(path);
    writer.setPageSize(QPageSize(pageSize, QPageSize::Point));
    writer.setResolution(72);
    QPainter painter(&writer);
    for (int page = 1; page <= pages; ++page) {
        if (page > 1) writer.newPage();
        painter.fillRect(QRectF(20, 20, 80, 40), QColor(200, 60, 40));
        painter.drawText(QPointF(30, 100), QStringLiteral("Page %1 of a generated document").arg(page));
    }
    painter.end();
    return path;
}

bool hasTool(const QString& name)
{
    return !QStandardPaths::findExecutable(name).isEmpty();
}

ToolRun runTool(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    if (!process.waitForFinished(120000)) return {};
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromUtf8(process.readAll()).trimmed()};
}

QString validationComplaints(const QString& path)
{
    QString complaints;
    // qpdf exits with 3 on a warning; mutool and gs print theirs on an otherwise clean run.
    const auto judge = [&](const QString& tool, const QStringList& arguments, const QString& cleanOutput) {
        if (!hasTool(tool)) return;
        const ToolRun run = runTool(tool, arguments);
        const bool quiet = !run.output.contains(QStringLiteral("warning"), Qt::CaseInsensitive)
            && !run.output.contains(QStringLiteral("error:"), Qt::CaseInsensitive);
        const bool clean = run.exitCode == 0 && (cleanOutput.isNull() ? run.output.isEmpty() : run.output.contains(cleanOutput));
        if (!clean || !quiet) complaints += tool + QStringLiteral(": ") + run.output + QLatin1Char('\n');
    };
    judge(QStringLiteral("qpdf"), {QStringLiteral("--check"), path}, QStringLiteral("No syntax or stream encoding errors found"));
    judge(QStringLiteral("mutool"), {QStringLiteral("info"), path}, QStringLiteral("Pages:"));
    judge(QStringLiteral("gs"), {QStringLiteral("-q"), QStringLiteral("-dNOPAUSE"), QStringLiteral("-dBATCH"),
                                 QStringLiteral("-dSAFER"), QStringLiteral("-sDEVICE=nullpage"),
                                 QStringLiteral("-o"), QStringLiteral("/dev/null"), path}, QString());
    return complaints;
}

QByteArray jpeg(int width, int height, bool grayscale)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) image.setPixel(x, y, qRgb(x * 255 / width, y * 255 / height, 128));
    if (grayscale) image = image.convertToFormat(QImage::Format_Grayscale8);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter(&buffer, "jpeg").write(image);
    return bytes;
}

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeAll(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) file.write(bytes);
}

QString writeScript(const QString& folder, const QString& name, const QString& body)
{
    const QString path = folder + QLatin1Char('/') + name;
    writeAll(path, "#!/bin/sh\n" + body.toUtf8() + "\n");
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

bool waitUntil(const std::function<bool()>& condition, int timeoutMilliseconds)
{
    QDeadlineTimer deadline(timeoutMilliseconds);
    while (!condition()) {
        if (deadline.hasExpired()) return false;
        QCoreApplication::processEvents();
        QThread::msleep(5);
    }
    return true;
}

} // namespace PdfTestSupport

// QtPdf's document loader keeps a few small allocations for the life of the process; they
// are not ours to free, so the leak checker is told to look past them.
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libQt6Pdf.so\n";
}
