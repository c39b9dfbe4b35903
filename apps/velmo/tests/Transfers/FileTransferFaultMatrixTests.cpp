#include "FaultInjectingFileSystemCalls.h"
#include "PathKit/FilePaths.h"
#include "Services/PosixFileTransferService.h"
#include "TransferTestSupport.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>

// Runs a copy or a move once cleanly to count its platform calls, then once
// more for every single call with that call failing (after another program
// dropped a file into the half-made destination tree), and once for every call
// with the user stopping just before it. Each runs with every way of copying
// data forced in turn. After each run, every byte, mode, owner, time and
// attribute of every source must be where the outcome says: a failure restores
// the start exactly and leaves the other program's file where it put it, a stop
// keeps whole finished items and nothing else.

namespace {

using Call = FaultInjectingFileSystemCalls::Call;
using TestTree::Snapshot;
using TestTree::snapshot;

enum class Operation { copy, move, moveAcrossFileSystems, moveWithoutExclusiveRename };
enum class Strategy { clone, rangeCopy, readWrite };

struct Scenario {
    Operation operation;
    Strategy strategy;
    const char* name;
};

struct Outcome {
    bool succeeded = false;
    std::optional<FileTransferCancellation> cancellation;
    std::vector<QByteArray> skipped; // relative to the source folder
    Snapshot sources;
    Snapshot destination;
    QByteArray foreignFile; // relative to the destination; empty when none was dropped
};

// Calls that carry an item's metadata: a file system may refuse them and the
// item still arrives, without that piece.
bool carriesMetadata(Call call)
{
    switch (call) {
    case Call::setOwner: case Call::setMode: case Call::setTimes: case Call::setAttribute: case Call::setOwnerAt:
    case Call::setModeAt: case Call::setTimesAt: case Call::attributeNames: case Call::attribute:
        return true;
    default:
        return false;
    }
}

Snapshot contentOnly(Snapshot snapshot)
{
    for (auto& [path, item] : snapshot) item = TestTree::Item{item.kind, item.digest, 0, 0, 0, {}};
    return snapshot;
}

// What the calls fail with, in turn: full disks, I/O errors, and the answers by
// which file systems refuse a call they do not offer.
constexpr int kErrors[] = {EIO, ENOSPC, EINVAL, ENOSYS, EACCES, ENAMETOOLONG};

class FaultMatrix : public ::testing::TestWithParam<Scenario> {
protected:
    // The sources: a tree with every awkward case, and a file whose name is taken.
    struct Run {
        TemporaryFolder scratch{TestTree::memoryScratchBase()};
        std::shared_ptr<FaultInjectingFileSystemCalls> calls = std::make_shared<FaultInjectingFileSystemCalls>();
        std::stop_source stop;
        QString source = scratch / "src";
        QString destination = scratch / "dest";
        QByteArray foreignFile;

        Run()
        {
            TestTree::makeFolder(source);
            TestTree::makeFolder(destination);
            // Small files only: what matters here is the number of calls, not bytes.
            TestTree::buildSampleTree(source + "/tree", 20000);
            TestTree::writeFile(source + "/solo.txt", "solo");
            TestTree::writeFile(destination + "/solo.txt", "in the way");
        }

        // Another program puts a file into the deepest folder the transfer made so far.
        void dropForeignFile()
        {
            for (const char* folder : {"tree/sub/nested", "tree/sub", "tree"}) {
                if (!TestTree::exists(destination + '/' + folder)) continue;
                foreignFile = QByteArray(folder) + "/foreign.txt";
                TestTree::writeFile(destination + '/' + foreignFile, "not the transfer's");
                return;
            }
        }
    };

    Outcome perform(const std::function<void(Run&)>& arrange)
    {
        Run run;
        switch (GetParam().operation) {
        case Operation::moveAcrossFileSystems: run.calls->failPath(Call::renameExclusive, "", EXDEV); break;
        case Operation::moveWithoutExclusiveRename: run.calls->failPath(Call::renameExclusive, "", EINVAL); break;
        default: break;
        }
        switch (GetParam().strategy) {
        case Strategy::clone: run.calls->emulatesCloning = true; break;
        case Strategy::rangeCopy: break; // what tmpfs offers
        case Strategy::readWrite: run.calls->failPath(Call::copyRange, "", EOPNOTSUPP); break;
        }
        if (startSources.empty()) {
            startSources = snapshot(run.source);
            startDestination = snapshot(run.destination);
        }
        arrange(run);
        PosixFileTransferService service(run.calls);
        const QStringList sources{run.source + "/tree", run.source + "/solo.txt"};
        std::optional<FileTransferError> error;
        Outcome outcome;
        if (GetParam().operation == Operation::copy) {
            const auto result = service.copyItems(sources, run.destination, run.stop.get_token());
            if (!result) error = result.error();
            // Items the copy may not read are left out, not failed.
            for (const QString& url : result ? result->skippedURLs : QStringList())
                outcome.skipped.push_back(FilePaths::toNative(url.mid(run.source.size() + 1)));
        } else {
            const auto result = service.moveItems(sources, run.destination, run.stop.get_token());
            if (!result) error = result.error();
        }
        outcome.succeeded = !error;
        if (error)
            if (const auto* cancellation = std::get_if<FileTransferCancellation>(&*error))
                outcome.cancellation = *cancellation;
        outcome.sources = snapshot(run.source);
        outcome.destination = snapshot(run.destination);
        outcome.foreignFile = run.foreignFile;
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

    // Every source item is whole at the place the outcome gives it, another
    // program's file is where it put it, and nothing else has appeared or gone.
    void expectAccountedFor(const Outcome& outcome, bool metadataMayDiffer = false)
    {
        const bool isMove = GetParam().operation != Operation::copy;
        const std::set<QByteArray> finished = finishedItems(outcome);
        Snapshot expectedSources = startSources;
        Snapshot expectedDestination = startDestination;
        for (const QByteArray& name : {QByteArray("tree"), QByteArray("solo.txt")}) {
            if (!finished.contains(name)) continue;
            for (const auto& [path, item] : TestTree::part(startSources, name)) {
                expectedDestination[path.isEmpty() ? landing(name) : landing(name) + '/' + path] =
                    path.isEmpty() ? startSources.at(name) : item;
                if (isMove) expectedSources.erase(path.isEmpty() ? name : name + '/' + path);
            }
        }
        for (const QByteArray& skipped : outcome.skipped) {
            const qsizetype slash = skipped.indexOf('/');
            const QByteArray landed = slash < 0 ? landing(skipped) : landing(skipped.left(slash)) + skipped.mid(slash);
            std::erase_if(expectedDestination,
                          [&](const auto& item) { return item.first == landed || item.first.startsWith(landed + '/'); });
        }
        if (!outcome.foreignFile.isEmpty()) {
            // It survives, and so do the folders that hold it, whatever they look like by now.
            expectedDestination[outcome.foreignFile] = outcome.destination.contains(outcome.foreignFile)
                ? outcome.destination.at(outcome.foreignFile)
                : TestTree::Item{};
            EXPECT_EQ(expectedDestination[outcome.foreignFile].kind, 'f') << "the other program's file";
            for (QByteArray folder = outcome.foreignFile; folder.contains('/');) {
                folder.truncate(folder.lastIndexOf('/'));
                if (outcome.destination.contains(folder)) expectedDestination[folder] = outcome.destination.at(folder);
            }
        }
        if (metadataMayDiffer && outcome.succeeded) {
            expectedDestination = contentOnly(expectedDestination);
            EXPECT_EQ(TestTree::differences(expectedDestination, contentOnly(outcome.destination)), "") << "destination";
        } else {
            EXPECT_EQ(TestTree::differences(expectedDestination, outcome.destination), "") << "destination";
        }
        EXPECT_EQ(TestTree::differences(expectedSources, outcome.sources), "") << "sources";
    }

    Snapshot startSources;
    Snapshot startDestination;
    std::shared_ptr<FaultInjectingFileSystemCalls> lastCalls;
};

// Every way of copying data meets every failure; a stop does not depend on how
// data is copied, so it runs once per operation.
class FailureMatrix : public FaultMatrix {};
class StopMatrix : public FaultMatrix {};

TEST_P(FailureMatrix, EveryFailingCallRestoresTheStart)
{
    const Outcome clean = perform([](Run&) {});
    ASSERT_TRUE(clean.succeeded);
    expectAccountedFor(clean);
    const auto counts = lastCalls;

    int failedRuns = 0;
    int turn = 0;
    for (Call call : FaultInjectingFileSystemCalls::failableCalls()) {
        for (int occurrence = 1; occurrence <= counts->count(call); ++occurrence) {
            const int error = kErrors[turn++ % std::size(kErrors)];
            SCOPED_TRACE(QStringLiteral("%1 #%2 fails with %3")
                             .arg(FaultInjectingFileSystemCalls::name(call))
                             .arg(occurrence)
                             .arg(QString::fromLocal8Bit(strerror(error)))
                             .toStdString());
            const Outcome outcome = perform([&](Run& run) {
                run.calls->beforeCall(call, occurrence, [&run] { run.dropForeignFile(); });
                run.calls->failCall(call, occurrence, error);
            });
            if (!outcome.succeeded) ++failedRuns;
            EXPECT_FALSE(outcome.cancellation.has_value());
            expectAccountedFor(outcome, carriesMetadata(call));
        }
    }
    EXPECT_GT(failedRuns, 20);
}

TEST_P(StopMatrix, AStopBeforeAnyCallKeepsOnlyWholeItems)
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
}

const Scenario kScenarios[] = {
    {Operation::copy, Strategy::clone, "CopyByCloning"},
    {Operation::copy, Strategy::rangeCopy, "CopyByCopyingInTheKernel"},
    {Operation::copy, Strategy::readWrite, "CopyByReadingAndWriting"},
    {Operation::move, Strategy::rangeCopy, "Move"},
    {Operation::moveWithoutExclusiveRename, Strategy::rangeCopy, "MoveWithoutExclusiveRename"},
    {Operation::moveAcrossFileSystems, Strategy::clone, "MoveAcrossFileSystemsByCloning"},
    {Operation::moveAcrossFileSystems, Strategy::rangeCopy, "MoveAcrossFileSystemsByCopyingInTheKernel"},
    {Operation::moveAcrossFileSystems, Strategy::readWrite, "MoveAcrossFileSystemsByReadingAndWriting"},
};
// A stop does not depend on how data is copied.
const Scenario kStopScenarios[] = {kScenarios[1], kScenarios[3], kScenarios[4], kScenarios[6]};

std::string scenarioName(const ::testing::TestParamInfo<Scenario>& info)
{
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Transfers, FailureMatrix, ::testing::ValuesIn(kScenarios), scenarioName);
INSTANTIATE_TEST_SUITE_P(Transfers, StopMatrix, ::testing::ValuesIn(kStopScenarios), scenarioName);

} // namespace
