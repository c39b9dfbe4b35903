// Pane file actions end to end, as a user drives them: the pane's store with
// the program's own services, a clipboard of its own and the event loop running,
// while a 5 ms probe timer measures how late the main thread answers.
//
//   velmo-pane-actions paste SOURCE DESTINATION
//       Puts SOURCE on the clipboard, pastes it into DESTINATION (a folder the
//       pane shows) and waits until the copy is done and the pane has reloaded.
//   velmo-pane-actions trash FOLDER
//       Selects every item of FOLDER, moves them to the trash, then undoes it.
//
// Prints wall times and the probe's lateness (99th percentile and worst, ms).
#include "Services/DirectoryListingService.h"
#include "Services/InMemoryFilePasteboard.h"
#include "Services/PosixFileTransferService.h"
#include "Services/WorkspaceFileActionService.h"
#include "State/FilePaneStore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <algorithm>
#include <cstdio>

namespace {

// Lateness of a 5 ms timer: how long the main thread kept it waiting.
class LatencyProbe {
public:
    LatencyProbe()
    {
        timer_.setTimerType(Qt::PreciseTimer);
        timer_.setInterval(5);
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            const qint64 now = clock_.nsecsElapsed();
            if (last_ >= 0) lateness_.push_back(double(now - last_) / 1e6 - 5.0);
            last_ = now;
        });
        clock_.start();
        timer_.start();
    }
    void report(const char* what)
    {
        timer_.stop();
        std::sort(lateness_.begin(), lateness_.end());
        const double p99 = lateness_.empty() ? 0 : lateness_[std::size_t(double(lateness_.size() - 1) * 0.99)];
        const double worst = lateness_.empty() ? 0 : lateness_.back();
        std::printf("%s probe_samples=%zu p99_late_ms=%.2f max_late_ms=%.2f\n", what, lateness_.size(),
                    std::max(p99, 0.0), std::max(worst, 0.0));
    }

private:
    QTimer timer_;
    QElapsedTimer clock_;
    qint64 last_ = -1;
    std::vector<double> lateness_;
};

std::unique_ptr<FilePaneStore> makePane(const QString& folder, std::shared_ptr<InMemoryFilePasteboard> pasteboard)
{
    FilePaneServices services;
    services.listing = std::make_shared<DirectoryListingService>();
    services.transfer = std::make_shared<PosixFileTransferService>();
    services.pasteboard = pasteboard;
    services.fileActions = std::make_shared<WorkspaceFileActionService>(pasteboard);
    FilePaneStore::Configuration configuration;
    configuration.folderURL = folder;
    return std::make_unique<FilePaneStore>(PaneID::left, services, configuration);
}

void spinUntil(const std::function<bool()>& done)
{
    while (!done()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
}

bool idle(const FilePaneStore& pane)
{
    return !pane.isBusy() && !pane.isLoading();
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    auto pasteboard = std::make_shared<InMemoryFilePasteboard>();
    if (args.size() == 4 && args[1] == u"paste") {
        auto pane = makePane(args[3], pasteboard);
        pane->startLoad(args[3]);
        spinUntil([&] { return idle(*pane); });
        pasteboard->clearContents();
        pasteboard->writeFileURLs({args[2]});
        LatencyProbe probe;
        QElapsedTimer timer;
        timer.start();
        pane->pasteItems();
        spinUntil([&] { return idle(*pane); });
        std::printf("paste_s=%.3f selected=%lld\n", timer.nsecsElapsed() / 1e9, qint64(pane->selectedEntryIDs().size()));
        probe.report("paste");
        if (pane->actionToast()) std::printf("toast: %s\n", qPrintable(pane->actionToast()->text));
        return pane->selectedEntryIDs().isEmpty() ? 1 : 0;
    }
    if (args.size() == 3 && args[1] == u"trash") {
        auto pane = makePane(args[2], pasteboard);
        pane->startLoad(args[2]);
        spinUntil([&] { return idle(*pane); });
        QSet<QString> all;
        for (const auto& entry : pane->entries()) all.insert(entry->id);
        pane->setSelectedEntryIDs(all);
        LatencyProbe probe;
        QElapsedTimer timer;
        timer.start();
        pane->moveSelectionToTrash();
        spinUntil([&] { return idle(*pane); });
        const double trashSeconds = timer.nsecsElapsed() / 1e9;
        const qsizetype left = qsizetype(pane->entries().size());
        timer.restart();
        pane->undoLastAction();
        spinUntil([&] { return idle(*pane); });
        std::printf("items=%lld trash_s=%.3f left_after_trash=%lld undo_s=%.3f restored=%lld\n", qint64(all.size()),
                    trashSeconds, qint64(left), timer.nsecsElapsed() / 1e9, qint64(pane->entries().size()));
        probe.report("trash+undo");
        if (pane->actionToast()) std::printf("toast: %s\n", qPrintable(pane->actionToast()->text));
        return qsizetype(pane->entries().size()) == all.size() ? 0 : 1;
    }
    std::fprintf(stderr, "usage: velmo-pane-actions paste SOURCE DESTINATION | trash FOLDER\n");
    return 2;
}
