// Sorting, filtering and refreshing a large folder as a pane does it.
//
//   velmo_sort [--rounds N] DIR
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
        std::fprintf(stderr, "usage: velmo_sort [--rounds N] DIR\n");
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
    std::printf("sort name, cold keys: %.1f ms\n", medianMilliseconds(rounds, [&] {
        FileEntrySort::sorted(entries, options(Column::name, true));
    }));
    FileEntrySort::KeyCache keys;
    FileEntrySort::sorted(entries, options(Column::name, true), {}, {}, &keys);
    std::printf("sort name, warm keys: %.1f ms\n", medianMilliseconds(rounds, [&] {
        FileEntrySort::sorted(entries, options(Column::name, false), {}, {}, &keys);
    }));
    std::printf("sort size, warm keys: %.1f ms\n", medianMilliseconds(rounds, [&] {
        FileEntrySort::sorted(entries, options(Column::size, false), {}, {}, &keys);
    }));
    std::printf("sort modified, warm keys: %.1f ms\n", medianMilliseconds(rounds, [&] {
        FileEntrySort::sorted(entries, options(Column::modified, true), {}, {}, &keys);
    }));

    FileNameFilter filter;
    const FileEntryList sorted = FileEntrySort::sorted(entries, options(Column::name, true), {}, {}, &keys);
    filter.filter(sorted, QStringLiteral("z")); // the first keystroke folds the names once
    for (const char* typed : {"z", "ze", "zeb", "zebr", "zebra"}) {
        std::size_t kept = 0;
        const double ms = medianMilliseconds(rounds, [&] { kept = filter.filter(sorted, QString::fromLatin1(typed)).size(); });
        std::printf("filter \"%s\": %.1f ms (%zu kept)\n", typed, ms, kept);
    }

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
    return 0;
}
