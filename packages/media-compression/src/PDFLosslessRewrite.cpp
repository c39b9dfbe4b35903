#include "PDFCompressionStrategies.h"

#include "PDFSourceFile.h"

#include <QFile>

// Only the std::shared_ptr interface of libqpdf is used.
#define POINTERHOLDER_TRANSITION 4
#include <qpdf/Pl_Flate.hh>
#include <qpdf/QPDF.hh>
#include <qpdf/QPDFWriter.hh>

#include <mutex>

namespace PDFCompressionStrategies {

std::expected<void, PDFCompressionError> rewriteLosslessly(const QString& input, const QString& output)
{
    if (!PDFSourceFile::isRegularFile(input)) return std::unexpected(PDFCompressionError::failedToCreateOutput());
    // The level is a process-wide setting of libqpdf; it is set once and only here.
    static std::once_flag levelSet;
    std::call_once(levelSet, [] { Pl_Flate::setCompressionLevel(9); });
    // libqpdf keeps the name pointers until the write is done.
    const QByteArray inputName = QFile::encodeName(input);
    const QByteArray outputName = QFile::encodeName(output);
    try {
        QPDF pdf;
        pdf.setSuppressWarnings(true);
        pdf.processFile(inputName.constData());
        QPDFWriter writer(pdf, outputName.constData());
        writer.setObjectStreamMode(qpdf_o_generate);
        writer.setCompressStreams(true);
        writer.setRecompressFlate(true);
        writer.write();
        return {};
    } catch (...) {
        // libqpdf reports damaged input and write failures alike by throwing; either way
        // this candidate is lost and the others still count.
        return std::unexpected(PDFCompressionError::failedToCreateOutput());
    }
}

} // namespace PDFCompressionStrategies
