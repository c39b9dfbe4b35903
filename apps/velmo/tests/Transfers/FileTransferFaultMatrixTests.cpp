#include "FaultInjectingFileSystemCalls.h"
#include "PathKit/FilePaths.h"
#include "Services/PosixFileTransferService.h"
#include "TransferTestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>

// Runs a copy or a move once cleanly to count its platform calls, then once
// more for every single call with that call failing, and once for every call
// with the user stopping just before it. After each run, every byte of every
// source must be where the outcome says: a failure restores the start exactly,
// a stop keeps whole finished items and nothing else.

namespace {

using Call = FaultInjectingFileSystemCalls::Call;
using TestTree::Snapshot;
using TestTree::snapshot;

enum class Operation { copy, move, moveAcrossFileSystems };

struct Outcome {
    bool succeeded = false;
    std::optional<FileTransferCancellation> cancellation;
    Snapshot sources;
    Snapshot destination;
};

class FaultMatrix : public ::testing::TestWithParam<Operation> {
protected:
    // The sources: a tree with every awkward case, and a file whose name is taken.
    struct Run {
        ScratchFolder scratch{TestTree::memoryScratchBase()};
        std::shared_ptr<FaultInjectingFileSystemCalls> calls = std::make_shared<FaultInjectingFileSystemCalls>();
        std::stop_source stop;
        QString source = scratch / "src";
        QString destination = scratch / "dest";

        Run()
        {
            TestTree::makeFolder(source);
            TestTree::makeFolder(destination);
            // Small files only: what matters here is the number of calls, not bytes.
            TestTree::buildSampleTree(source + "/tree", 20000);
            TestTree::writeFile(source + "/solo.txt", "solo");
            TestTree::writeFile(destination + "/solo.txt", "in the way");
        }
    };

    Outcome perform(const std::function<void(Run&)>& arrange)
    {
        Run run;
        if (GetParam() == Operation::moveAcrossFileSystems) run.calls->failPath(Call::renameExclusive, "/", EXDEV);
        if (startSources.empty()) {
            startSources = snapshot(run.source);
            startDestination = snapshot(run.destination);
        }
        arrange(run);
        PosixFileTransferService service(run.calls);
        const QStringList sources{run.source + "/tree", run.source + "/solo.txt"};
        std::optional<FileTransferError> error;
        if (GetParam() == Operation::copy) {
            const auto result = service.copyItems(sources, run.destination, run.stop.get_token());
            if (!result) error = result.error();
        } else {
            const auto result = service.moveItems(sources, run.destination, run.stop.get_token());
            if (!result) error = result.error();
        }
        Outcome outcome;
        outcome.succeeded = !error;
        if (error)
            if (const auto* cancellation = std::get_if<FileTransferCancellation>(&*error))
                outcome.cancellation = *cancellation;
        outcome.sources = snapshot(run.source);
        outcome.destination = snapshot(run.destination);
        lastCalls = run.calls;
        return outcome;
    }

    // Relative to the destination folder, where each top-level source lands.
    static QByteArray landing(const QByteArray& sourceName) { return sourceName == "solo.txt" ? "solo 2.txt" : sourceName; }

    // Which top-level items the outcome says are finished at the destination.
    std::set<QByteArray> finishedItems(const Outcome& outcome) const
    {
        std::set<QByteArray> finished;
        if (outcome.succeeded) return {"tree", "solo.txt"};
        if (!outcome.cancellation) return finished;
        for (const QString& url : outcome.cancellation->completedURLs()) {
            const QByteArray name = FilePaths::toNative(FilePaths::lastComponent(url));
            finished.insert(name == "solo 2.txt" ? QByteArray("solo.txt") : name);
        }
        return finished;
    }

    // Every source item is whole at the place the outcome gives it, and nothing
    // else has appeared or gone.
    void expectAccountedFor(const Outcome& outcome)
    {
        const bool isMove = GetParam() != Operation::copy;
        const std::set<QByteArray> finished = finishedItems(outcome);
        Snapshot expectedSources = startSources;
        Snapshot expectedDestination = startDestination;
        for (const QByteArray& name : {QByteArray("tree"), QByteArray("solo.txt")}) {
            if (!finished.contains(name)) continue;
            for (const auto& [path, item] : TestTree::part(startSources, name)) {
                expectedDestination[path.isEmpty() ? landing(name) : landing(name) + '/' + path] = item;
                if (isMove) expectedSources.erase(path.isEmpty() ? name : name + '/' + path);
            }
        }
        EXPECT_EQ(TestTree::differences(expectedSources, outcome.sources), "") << "sources";
        EXPECT_EQ(TestTree::differences(expectedDestination, outcome.destination), "") << "destination";
    }

    Snapshot startSources;
    Snapshot startDestination;
    std::shared_ptr<FaultInjectingFileSystemCalls> lastCalls;
};

TEST_P(FaultMatrix, EveryFailingCallRestoresTheStart)
{
    const Outcome clean = perform([](Run&) {});
    ASSERT_TRUE(clean.succeeded);
    expectAccountedFor(clean);
    const auto counts = lastCalls;

    int failedRuns = 0;
    for (Call call : FaultInjectingFileSystemCalls::failableCalls()) {
        for (int occurrence = 1; occurrence <= counts->count(call); ++occurrence) {
            SCOPED_TRACE(QStringLiteral("%1 #%2 fails").arg(FaultInjectingFileSystemCalls::name(call)).arg(occurrence).toStdString());
            // A full disk where data is written, an I/O error everywhere else.
            const int error = (call == Call::copyRange || call == Call::write) ? ENOSPC : EIO;
            const Outcome outcome = perform([&](Run& run) { run.calls->failCall(call, occurrence, error); });
            if (!outcome.succeeded) ++failedRuns;
            EXPECT_FALSE(outcome.cancellation.has_value());
            expectAccountedFor(outcome);
        }
    }
    EXPECT_GT(failedRuns, 20);
    RecordProperty("failedRuns", failedRuns);
}

TEST_P(FaultMatrix, AStopBeforeAnyCallKeepsOnlyWholeItems)
{
    perform([](Run&) {});
    const int callCount = lastCalls->count(Call::any);
    ASSERT_GT(callCount, 0);
    int stoppedRuns = 0;
    for (int occurrence = 1; occurrence <= callCount; ++occurrence) {
        SCOPED_TRACE(QStringLiteral("stop before call #%1").arg(occurrence).toStdString());
        const Outcome outcome = perform(
            [&](Run& run) { run.calls->beforeCall(Call::any, occurrence, [&run] { run.stop.request_stop(); }); });
        if (!outcome.succeeded) {
            ++stoppedRuns;
            EXPECT_TRUE(outcome.cancellation.has_value());
        }
        expectAccountedFor(outcome);
    }
    EXPECT_GT(stoppedRuns, callCount / 2);
    RecordProperty("stoppedRuns", stoppedRuns);
}

INSTANTIATE_TEST_SUITE_P(Transfers, FaultMatrix,
                         ::testing::Values(Operation::copy, Operation::move, Operation::moveAcrossFileSystems),
                         [](const auto& info) {
                             switch (info.param) {
                             case Operation::copy: return "Copy";
                             case Operation::move: return "Move";
                             case Operation::moveAcrossFileSystems: return "MoveAcrossFileSystems";
                             }
                             return "";
                         });

} // namespace
