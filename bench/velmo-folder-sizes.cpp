// Folder sizes as a pane works them out, on real folders.
//
//   velmo-folder-sizes [--auto] [--only NAME,NAME...] [--print] DIR
//
// Lists DIR with the pane's listing service, then runs "Calculate Folder Sizes"
// (or, with --auto, the automatic path with its budget) on DIR's visible
// folders, one at a time as the pane does. Prints the time from the command to
// the last folder settled, the sum of the calculated sizes and, per state, how
// many folders ended so; the longest single folder's walk in milliseconds;
// with --print, "bytes<TAB>name" per folder. --only keeps just the named folders
// in the listing (the automatic path stands down above 40 visible folders).
#include "Services/DirectoryListingService.h"
#include "State/FilePaneStore.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdio>

namespace {

class OnlyListing final : public DirectoryListingProviding {
public:
    explicit OnlyListing(QSet<QString> names) : names_(std::move(names)) { }
    void list(const QString& url, bool hidden, const TaskHandle& task, QObject* context, Completion completion) override
    {
        real_.list(url, hidden, task, context, [this, completion = std::move(completion)](Result result) {
            if (result && !names_.isEmpty())
                std::erase_if(*result, [this](const FileEntry& entry) { return !names_.contains(entry.name); });
            completion(std::move(result));
        });
    }
    void probe(const QString& url, bool hidden, const TaskHandle& task, QObject* context,
               std::function<void(bool)> completion) override
    {
        real_.probe(url, hidden, task, context, std::move(completion));
    }

private:
    DirectoryListingService real_;
    QSet<QString> names_;
};

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    bool automatic = false, print = false;
    QSet<QString> only;
    QString folder;
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg = argv[i];
        if (arg == "--auto") automatic = true;
        else if (arg == "--print") print = true;
        else if (arg == "--only" && i + 1 < argc)
            for (const QString& name : QString::fromLocal8Bit(argv[++i]).split(u',', Qt::SkipEmptyParts)) only.insert(name);
        else folder = QString::fromLocal8Bit(arg);
    }
    if (folder.isEmpty()) {
        std::fprintf(stderr, "usage: velmo-folder-sizes [--auto] [--only NAME,...] [--print] DIR\n");
        return 2;
    }

    FilePaneServices services;
    services.listing = std::make_shared<OnlyListing>(only);
    FilePaneStore::Configuration configuration;
    configuration.folderURL = folder;
    FilePaneStore pane(PaneID::left, services, configuration);
    pane.setSmartFolderSizeCalculationEnabled(automatic);

    QElapsedTimer timer;
    timer.start();
    qint64 commandAt = 0;
    QHash<QString, qint64> startedAt;
    qint64 longestWalk = 0;
    auto settled = [&] {
        if (pane.isCalculatingFolderSizes()) return false;
        for (const auto& state : pane.folderSizeStates())
            if (state.isCalculating()) return false;
        return true;
    };
    QObject::connect(&pane, &FilePaneStore::folderSizeStatesChanged, [&](const QSet<QString>& ids) {
        for (const QString& id : ids) {
            const auto it = pane.folderSizeStates().constFind(id);
            if (it == pane.folderSizeStates().cend()) continue;
            if (it->isCalculating()) startedAt.insert(id, startedAt.value(id, timer.nsecsElapsed()));
            else if (startedAt.contains(id)) longestWalk = std::max(longestWalk, timer.nsecsElapsed() - startedAt.take(id));
        }
        // The scan's last step ends after this signal: look once it has.
        QMetaObject::invokeMethod(&app, [&] { if (settled()) app.quit(); }, Qt::QueuedConnection);
    });
    QObject::connect(&pane, &FilePaneStore::loadStateChanged, [&] {
        if (pane.loadState().isFailed()) {
            std::fprintf(stderr, "velmo-folder-sizes: %s\n", qPrintable(pane.loadState().failureMessage));
            app.exit(1);
            return;
        }
        if (pane.loadState() != FilePaneLoadState::ready()) return;
        commandAt = timer.nsecsElapsed();
        if (automatic) pane.setSmartFolderSizeCalculationEnabled(true);
        else pane.calculateFolderSizesForVisibleFolders();
        if (settled()) app.quit();
    });
    pane.startLoad(folder);
    if (app.exec() != 0) return 1;
    const double seconds = (timer.nsecsElapsed() - commandAt) / 1e9;

    qint64 sum = 0;
    int calculated = 0, skipped = 0, failed = 0;
    for (const auto& entry : pane.visibleEntries()) {
        const auto it = pane.folderSizeStates().constFind(entry->id);
        if (it == pane.folderSizeStates().cend()) continue;
        if (it->kind == FolderSizeState::Kind::calculated) {
            ++calculated;
            sum += *it->bytes;
            if (print) std::printf("%lld\t%s\n", static_cast<long long>(*it->bytes), qPrintable(entry->name));
        }
        skipped += it->kind == FolderSizeState::Kind::skipped;
        failed += it->kind == FolderSizeState::Kind::failed;
    }
    std::printf("folders=%d calculated=%d skipped=%d failed=%d sum_bytes=%lld seconds=%.4f longest_walk_ms=%.1f\n",
                calculated + skipped + failed, calculated, skipped, failed, static_cast<long long>(sum), seconds,
                longestWalk / 1e6);
    return 0;
}
