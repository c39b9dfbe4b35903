// Compresses image files with Velmo's image processor and prints, per file, the output size
// and the time compressImage took (read, decode, scale, encode).
//
//   velmo-image-compress FORMAT QUALITY SCALE [-o FOLDER] FILE...
//       FORMAT: original, jpeg, png, webp or avif. With -o the results are written there
//       under the source's base name and the output extension.
//   velmo-image-compress --avif-settings QUALITY
//       prints "speed threads quantizer" of the AVIF encoder, so the reference encoder can
//       be run with the same settings.
#include <MediaCompression/AvifCodec.h>
#include <MediaCompression/ImageProcessor.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace {

int usage()
{
    std::fprintf(stderr, "usage: velmo-image-compress FORMAT QUALITY SCALE [-o FOLDER] FILE...\n"
                         "       velmo-image-compress --avif-settings QUALITY\n");
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    QStringList arguments = application.arguments().mid(1);
    if (arguments.size() == 2 && arguments[0] == "--avif-settings") {
        const AvifCodec::EncoderSettings settings = AvifCodec::encoderSettings(arguments[1].toInt());
        std::printf("%d %d %d\n", settings.speed, settings.threads, settings.quantizer);
        return 0;
    }
    if (arguments.size() < 4) return usage();
    const std::optional<OutputFormat> format = outputFormatFromRawValue(arguments.takeFirst());
    bool qualityOk = false;
    bool scaleOk = false;
    const int quality = arguments.takeFirst().toInt(&qualityOk);
    const int scale = arguments.takeFirst().toInt(&scaleOk);
    if (!format || !qualityOk || !scaleOk) return usage();
    QString outputFolder;
    if (arguments.size() >= 2 && arguments[0] == "-o") {
        arguments.takeFirst();
        outputFolder = arguments.takeFirst();
    }

    const ImageProcessor processor;
    const CompressionSettings settings { *format, quality, scale, QString() };
    int failures = 0;
    for (const QString& path : arguments) {
        QElapsedTimer timer;
        timer.start();
        const auto result = processor.compressImage(path, settings);
        const double milliseconds = timer.nsecsElapsed() / 1e6;
        if (!result) {
            std::printf("%s\terror\t%s\n", qPrintable(path), qPrintable(result.error().errorDescription()));
            ++failures;
            continue;
        }
        std::printf("%s\t%lld\t%.1f ms\t%dx%d\n", qPrintable(path), static_cast<long long>(result->data.size()),
                    milliseconds, result->width, result->height);
        if (!outputFolder.isEmpty()) {
            QFile output(QDir(outputFolder).filePath(QFileInfo(path).completeBaseName() + '.' + result->outputFileExtension));
            if (!output.open(QIODevice::WriteOnly) || output.write(result->data) != result->data.size()) ++failures;
        }
    }
    return failures == 0 ? 0 : 1;
}
