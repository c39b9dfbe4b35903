// Sorting, filtering and refreshing a large folder as a pane does it.
//
//   velmo-sort [--rounds N] DIR
//
// Lists DIR once, then reports medians of: a name sort with a cold collation
// cache and with a warm one, size and date sorts, one filter per keystroke of
// "zebra", and a pane refresh of the unchanged folder (listing + merge).
#include "Models/FileEntrySort.h"
#include "Models/FileNameFilter.h"
#include "Services/DirectoryListingService.h"
#include "State/FilePaneStore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>

#include <algorithm>
#include <cstdio>
#include <functional>

namespace {

double medianMilliseconds(int rounds, const std::function<void()>& run)
{
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer timer;
        timer.start();
        run();
        times.push_back(timer.nsecsElapsed() / 1e6);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    int rounds = 5;
    QString folder;
    for (int i = 1; i < argc; ++i) {
        if (QByteArray(argv[i]) == "--rounds" && i + 1 < argc) rounds = std::max(1, atoi(argv[++i]));
        else folder = QString::fromLocal8Bit(argv[i]);
    }
    if (folder.isEmpty()) {
        std::fprintf(stderr, "usage: velmo-sort [--rounds N] DIR\n");
        return 2;
    }
    DirectoryListingService service;
    auto listed = service.listNow(folder, false);
    if (!listed) return 1;
    FileEntryList entries;
    for (auto& entry : *listed) entries.push_back(std::make_shared<const FileEntry>(entry));
    std::printf("entries=%zu\n", entries.size());

    using Column = FileEntrySortColumn;
    auto options = [](Column column, bool ascending) { return FileEntrySort::Options {column, ascending, true, false}; };
    std::printf("sort name, names not yet collated: %.1f ms\n", medianMilliseconds(rounds, [&] {
        FileEntrySort::sorted(entries, options(Column::name, true));
    }));
    const FileEntrySort::NameRanks ranks = FileEntrySort::nameRanks(entries);
    std::printf("sort name, collated: %.1f ms\n", medianMilliseconds(rounds, [&] {
        FileEntrySort::sorted(entries, options(Column::name, false), {}, {}, &ranks);
    }));
    std::printf("sort size, collated: %.1f ms\n", medianMilliseconds(rounds, [&] {
        FileEntrySort::sorted(entries, options(Column::size, false), {}, {}, &ranks);
    }));
    std::printf("sort modified, collated: %.1f ms\n", medianMilliseconds(rounds, [&] {
        FileEntrySort::sorted(entries, options(Column::modified, true), {}, {}, &ranks);
    }));
    std::printf("sort kind, collated: %.1f ms\n", medianMilliseconds(rounds, [&] {
        FileEntrySort::sorted(entries, options(Column::kind, true), {}, {}, &ranks);
    }));

    FilePaneServices services;
    services.listing = std::make_shared<DirectoryListingService>();
    FilePaneStore::Configuration configuration;
    configuration.folderURL = folder;
    FilePaneStore pane(PaneID::left, services, configuration);
    auto loadOnce = [&] {
        QEventLoop loop;
        QObject::connect(&pane, &FilePaneStore::loadStateChanged, &loop, [&] {
            if (pane.loadState().kind == FilePaneLoadState::Kind::ready) loop.quit();
        });
        pane.startLoad(folder);
        loop.exec();
    };
    const double first = medianMilliseconds(1, loadOnce);
    int rowNotices = 0;
    QObject::connect(&pane, &FilePaneStore::rowsChanged, [&] { ++rowNotices; });
    const double refresh = medianMilliseconds(rounds, loadOnce);
    std::printf("pane first load: %.1f ms; unchanged refresh: %.1f ms, row notices: %d\n", first, refresh, rowNotices);

    // Typing "zebra" into the pane's filter, then clearing it: the whole path
    // from the store's setter to the rows the view reads.
    for (const char* typed : {"z", "ze", "zeb", "zebr", "zebra", ""}) {
        std::vector<double> times;
        std::size_t shown = 0;
        for (int i = 0; i < rounds; ++i) {
            pane.setFilterText(QStringLiteral("x"));
            QElapsedTimer timer;
            timer.start();
            pane.setFilterText(QString::fromLatin1(typed));
            times.push_back(timer.nsecsElapsed() / 1e6);
            shown = pane.treeRows().size();
        }
        std::sort(times.begin(), times.end());
        std::printf("pane filter \"%s\": %.1f ms (%zu rows)\n", typed, times[times.size() / 2], shown);
    }
    return 0;
}
