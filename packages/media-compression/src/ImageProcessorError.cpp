#include <MediaCompression/ImageProcessorError.h>

QString ImageProcessorError::errorDescription() const
{
    switch (kind) {
    case Kind::unsupportedOutputFormat:
        return QStringLiteral("Ausgabeformat nicht unterstützt: ") + formatName;
    case Kind::failedToReadImage:
        return QStringLiteral("Bild konnte nicht gelesen werden.");
    case Kind::failedToDecodeImage:
        return QStringLiteral("Bild konnte nicht dekodiert werden.");
    case Kind::failedToCreateDestination:
        return QStringLiteral("Ausgabebild konnte nicht erstellt werden.");
    case Kind::failedToFinalize:
        return QStringLiteral("Ausgabebild konnte nicht finalisiert werden.");
    case Kind::failedToCreateContext:
        return QStringLiteral("Bildverarbeitungskontext konnte nicht erstellt werden.");
    }
    return {};
}
