// Compresses PDFs as the PDF compression queue does and prints, per file, the chosen
// compressor, the sizes, the page count and the time taken:
//   velmo-pdf-compress [--profile NAME | --strength 0..100] [--keep-larger] [--out DIR] FILE...
// Columns (tab-separated): file, strategy, original bytes, result bytes, pages, milliseconds.
// With --out the results stay there as <name>.velmo.pdf; otherwise they are removed.
#include "MediaCompression/PDFCompressionProcessor.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <cstdio>

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    const PDFCompressionProcessor processor(PDFCompressionToolPaths::discover(qEnvironmentVariable("PATH")),
                                            std::make_shared<SystemPDFCompressionCommandRunner>(300));
    PDFCompressionSettings settings;
    QString outputFolder;
    QStringList files;
    const QStringList arguments = application.arguments().mid(1);
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        if (argument == QLatin1String("--profile") && i + 1 < arguments.size()) {
            const auto profile = PDFCompressionProfiles::fromRawValue(arguments[++i]);
            if (!profile) {
                std::fprintf(stderr, "unknown profile %s\n", qPrintable(arguments[i]));
                return 2;
            }
            settings.profile = *profile;
            settings.jpegQuality = PDFCompressionProfiles::defaultJPEGQuality(*profile);
            settings.scanDPI = PDFCompressionProfiles::defaultScanDPI(*profile);
        } else if (argument == QLatin1String("--strength") && i + 1 < arguments.size()) {
            settings = PDFCompressionStrength::apply(arguments[++i].toDouble(), settings, processor.supportedProfiles());
        } else if (argument == QLatin1String("--keep-larger")) {
            settings.keepSmaller = false;
        } else if (argument == QLatin1String("--out") && i + 1 < arguments.size()) {
            outputFolder = arguments[++i];
        } else {
            files << argument;
        }
    }
    if (files.isEmpty()) {
        std::fprintf(stderr, "usage: velmo-pdf-compress [--profile NAME | --strength 0..100] [--keep-larger] [--out DIR] FILE...\n");
        return 2;
    }

    QTemporaryDir scratch;
    int failures = 0;
    std::printf("# settings %s\n", qPrintable(settings.signature()));
    for (const QString& file : files) {
        QElapsedTimer timer;
        timer.start();
        const auto result = processor.compressPDF(file, settings, scratch.path());
        const qint64 milliseconds = timer.elapsed();
        const QString name = QFileInfo(file).fileName();
        if (!result) {
            ++failures;
            std::printf("%s\terror: %s\t%lld\t-\t-\t%lld\n", qPrintable(name), qPrintable(result.error().errorDescription()),
                        QFileInfo(file).size(), milliseconds);
            continue;
        }
        std::printf("%s\t%s\t%lld\t%lld\t%d\t%lld\n", qPrintable(name), qPrintable(result->usedStrategy),
                    QFileInfo(file).size(), result->sizeBytes, result->pageCount, milliseconds);
        std::fflush(stdout);
        if (!outputFolder.isEmpty()) {
            const QString target = QDir(outputFolder).filePath(QFileInfo(file).completeBaseName() + QStringLiteral(".velmo.pdf"));
            QFile::remove(target);
            QFile::rename(result->filePath, target);
        } else {
            QFile::remove(result->filePath);
        }
    }
    return failures == 0 ? 0 : 1;
}
