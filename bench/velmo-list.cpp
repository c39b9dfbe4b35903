// Lists one folder with the pane's listing service and reports time and heap.
//
//   velmo-list [--rounds N] [--hidden] DIR
//
// Prints the median wall time of N listings (default 1), the entry count and the
// heap held per entry by the result (glibc's allocator statistics).
#include "Services/DirectoryListingService.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>
#include <malloc.h>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    int rounds = 1;
    bool hidden = false;
    QString folder;
    for (int i = 1; i < argc; ++i) {
        const QByteArray arg = argv[i];
        if (arg == "--rounds" && i + 1 < argc) rounds = std::max(1, atoi(argv[++i]));
        else if (arg == "--hidden") hidden = true;
        else folder = QString::fromLocal8Bit(arg);
    }
    if (folder.isEmpty()) {
        std::fprintf(stderr, "usage: velmo-list [--rounds N] [--hidden] DIR\n");
        return 2;
    }

    std::vector<double> seconds;
    std::size_t count = 0;
    double heapPerEntry = 0;
    for (int round = 0; round < rounds; ++round) {
        DirectoryListingService service;
        malloc_trim(0);
        const std::size_t before = mallinfo2().uordblks;
        QElapsedTimer timer;
        timer.start();
        auto result = service.listNow(folder, hidden);
        seconds.push_back(timer.nsecsElapsed() / 1e9);
        if (!result) {
            std::fprintf(stderr, "velmo-list: could not list %s\n", argv[argc - 1]);
            return 1;
        }
        count = result->size();
        const std::size_t after = mallinfo2().uordblks;
        if (count) heapPerEntry = double(after - before) / double(count);
    }
    std::sort(seconds.begin(), seconds.end());
    std::printf("entries=%zu median_s=%.4f min_s=%.4f heap_bytes_per_entry=%.0f\n", count, seconds[seconds.size() / 2],
                seconds.front(), heapPerEntry);
    return 0;
}
