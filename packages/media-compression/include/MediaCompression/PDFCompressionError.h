#pragma once

#include <QString>

// Why a PDF could not be compressed, or why one compressor's attempt failed. A failing
// compressor is not an error of the whole; only `noSuccessfulCandidates` and the errors
// before the first attempt reach a caller. `cancelled` is the outcome of a stop request,
// never a message for the user.
struct PDFCompressionError {
    enum class Kind {
        missingTool,
        processFailed,
        processTimedOut,
        failedToReadPDF,
        failedToCreateOutput,
        noSuccessfulCandidates,
        cancelled,
    };
    Kind kind = Kind::failedToCreateOutput;
    // The tool's name (missingTool, processTimedOut) or the text to show (processFailed).
    QString detail;

    bool operator==(const PDFCompressionError&) const = default;

    static PDFCompressionError missingTool(const QString& name) { return {Kind::missingTool, name}; }
    static PDFCompressionError processFailed(const QString& text) { return {Kind::processFailed, text}; }
    static PDFCompressionError processTimedOut(const QString& name) { return {Kind::processTimedOut, name}; }
    static PDFCompressionError failedToReadPDF() { return {Kind::failedToReadPDF, {}}; }
    static PDFCompressionError failedToCreateOutput() { return {Kind::failedToCreateOutput, {}}; }
    static PDFCompressionError noSuccessfulCandidates() { return {Kind::noSuccessfulCandidates, {}}; }
    static PDFCompressionError cancelled() { return {Kind::cancelled, {}}; }

    bool isCancellation() const { return kind == Kind::cancelled; }
    // The text a user sees, e.g. "PDF could not be read."
    QString errorDescription() const;
};
