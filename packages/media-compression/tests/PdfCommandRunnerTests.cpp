// The child-process runner with real processes: exit codes and texts, output that would
// fill a pipe, and tools that never end, stopped by the deadline or by a stop request.
#include "MediaCompression/PDFCompressionCommandRunner.h"

#include "PdfTestSupport.h"

#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <thread>

using namespace PdfTestSupport;

namespace {

// Gone, or a zombie that only waits for whoever adopted it to reap it.
bool processGone(const QString& pidFile)
{
    const QByteArray pid = readAll(pidFile).trimmed();
    if (pid.toInt() <= 0) return false;
    if (::kill(pid_t(pid.toInt()), 0) != 0 && errno == ESRCH) return true;
    const QByteArray stat = readAll(QStringLiteral("/proc/") + QString::fromLatin1(pid) + QStringLiteral("/stat"));
    return stat.mid(stat.lastIndexOf(')') + 2, 1) == "Z";
}

// A tool that records its own pid and that of its child, then waits for ever.
QString hangingTool(const QTemporaryDir& folder, const QString& name)
{
    return writeScript(folder.path(), name,
                       QStringLiteral("sleep 600 &\necho $! > '%1/child'\necho $$ > '%1/pid'\nwait").arg(folder.path()));
}

} // namespace

struct ExitCase {
    const char* name;
    const char* script;
    QString expectedOutput;
    QString expectedError; // empty when the run succeeds
};

class PdfCommandExit : public ::testing::TestWithParam<ExitCase> { };

TEST_P(PdfCommandExit, ReportsOutputOrTheToolsOwnWords)
{
    QTemporaryDir folder;
    const QString tool = writeScript(folder.path(), QStringLiteral("gs"), QString::fromLatin1(GetParam().script));
    SystemPDFCompressionCommandRunner runner(60);
    const auto result = runner.run({tool, QStringLiteral("an argument")}, {});
    if (GetParam().expectedError.isEmpty()) {
        ASSERT_TRUE(result.has_value()) << result.error().errorDescription().toStdString();
        EXPECT_EQ(result->standardOutput.left(40), GetParam().expectedOutput);
    } else {
        ASSERT_FALSE(result.has_value());
        EXPECT_EQ(result.error(), PDFCompressionError::processFailed(GetParam().expectedError));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Exits, PdfCommandExit,
    ::testing::Values(ExitCase {"success", "echo \"$1\"", QStringLiteral("an argument\n"), {}},
                      ExitCase {"silentFailure", "exit 1", {}, QStringLiteral("gs failed.")},
                      ExitCase {"failureWithText", "echo out; printf '\\n  Unrecoverable error  \\n\\n' >&2; exit 2", {},
                                QStringLiteral("Unrecoverable error")},
                      ExitCase {"killedBySignal", "kill -9 $$", {}, QStringLiteral("gs failed.")},
                      // Far more than a pipe holds, on both streams, before the tool ends.
                      ExitCase {"floodsItsOutput", "head -c 3000000 /dev/zero | tr '\\0' x; head -c 3000000 /dev/zero >&2",
                                QString(40, QLatin1Char('x')), {}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(PdfCommandRunner, MissingProgramOrEmptyCommandIsAnError)
{
    SystemPDFCompressionCommandRunner runner;
    const auto missing = runner.run({QStringLiteral("/nonexistent/gs")}, {});
    ASSERT_FALSE(missing.has_value());
    EXPECT_EQ(missing.error().kind, PDFCompressionError::Kind::processFailed);
    EXPECT_FALSE(missing.error().errorDescription().isEmpty());
    EXPECT_EQ(runner.run({}, {}).error(), PDFCompressionError::failedToCreateOutput());
}

TEST(PdfCommandRunner, ToolPastItsDeadlineIsEndedWithItsChildren)
{
    QTemporaryDir folder;
    const QString tool = hangingTool(folder, QStringLiteral("mutool"));
    SystemPDFCompressionCommandRunner runner(0.3);
    const auto result = runner.run({tool}, {});
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().errorDescription(), QStringLiteral("mutool timed out while compressing the PDF."));
    EXPECT_TRUE(processGone(folder.filePath(QStringLiteral("pid"))));
    EXPECT_TRUE(waitUntil([&] { return processGone(folder.filePath(QStringLiteral("child"))); }, 5000));
}

TEST(PdfCommandRunner, StopRequestEndsAHangingToolAtOnce)
{
    QTemporaryDir folder;
    const QString tool = hangingTool(folder, QStringLiteral("gs"));
    SystemPDFCompressionCommandRunner runner(600);
    std::stop_source stop;
    std::expected<PDFCompressionCommandResult, PDFCompressionError> result;
    std::thread worker([&] { result = runner.run({tool}, stop.get_token()); });
    const bool started = waitUntil([&] { return QFileInfo(folder.filePath(QStringLiteral("pid"))).size() > 0; }, 5000);
    stop.request_stop();
    worker.join();
    ASSERT_TRUE(started);
    ASSERT_FALSE(result.has_value());
    EXPECT_TRUE(result.error().isCancellation());
    EXPECT_TRUE(processGone(folder.filePath(QStringLiteral("pid"))));
    EXPECT_TRUE(waitUntil([&] { return processGone(folder.filePath(QStringLiteral("child"))); }, 5000));
}
