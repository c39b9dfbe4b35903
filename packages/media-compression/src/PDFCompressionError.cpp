#include "MediaCompression/PDFCompressionError.h"

QString PDFCompressionError::errorDescription() const
{
    switch (kind) {
    case Kind::missingTool: return detail + QStringLiteral(" is required for this PDF compression profile.");
    case Kind::processFailed: return detail;
    case Kind::processTimedOut: return detail + QStringLiteral(" timed out while compressing the PDF.");
    case Kind::failedToReadPDF: return QStringLiteral("PDF could not be read.");
    case Kind::failedToCreateOutput: return QStringLiteral("Compressed PDF could not be created.");
    case Kind::noSuccessfulCandidates: return QStringLiteral("No PDF compression candidate completed successfully.");
    case Kind::cancelled: return QStringLiteral("PDF compression was cancelled.");
    }
    return {};
}
