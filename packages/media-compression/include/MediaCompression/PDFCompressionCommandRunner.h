#pragma once

#include "MediaCompression/PDFCompressionError.h"

#include <QString>
#include <QStringList>

#include <expected>
#include <stop_token>

struct PDFCompressionCommandResult {
    QString standardOutput;
    QString standardError;
};

// Runs one external compressor to its end. `arguments[0]` is the program's path.
// Implementations are called from worker threads, several at once.
class PDFCompressionCommandRunning {
public:
    virtual ~PDFCompressionCommandRunning() = default;
    // The tool's output when it exits with 0; otherwise processFailed (its trimmed error
    // text, or "<name> failed."), processTimedOut, or cancelled on a stop request.
    virtual std::expected<PDFCompressionCommandResult, PDFCompressionError>
    run(const QStringList& arguments, std::stop_token stop) = 0;
};

// Runs the tool as a child process in a process group of its own, its input /dev/null and
// its output in two private temporary files that are unlinked as soon as they are open, so
// nothing is ever left behind and a chatty tool can never stall on a full pipe.
// Every 50 ms it looks at the child, the stop token and the deadline. On a stop or past
// the deadline the group gets SIGTERM, then SIGKILL a second later if it is still there,
// and the child is always reaped before `run` returns.
class SystemPDFCompressionCommandRunner final : public PDFCompressionCommandRunning {
public:
    explicit SystemPDFCompressionCommandRunner(double timeoutSeconds = 300) : timeoutSeconds_(timeoutSeconds) { }

    std::expected<PDFCompressionCommandResult, PDFCompressionError>
    run(const QStringList& arguments, std::stop_token stop) override;

    double timeoutSeconds() const { return timeoutSeconds_; }

private:
    double timeoutSeconds_;
};
