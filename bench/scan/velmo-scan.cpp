// velmo-scan: scans a folder with the parallel walker and prints the item count and the
// allocated and logical totals of the root.
//
//   velmo-scan [-t THREADS] [--split] [--tree] FOLDER
//     -t N     worker threads (default: one per online processor)
//     --split  print on stderr how the time divides between the walk, the roll-ups and,
//              with --tree, building the final tree; and the peak resident memory
//     --tree   also build the final ScanTree, as the size map receives it
#include "CScanKit/sg_scan.h"
#include "FileSizeScanner/ScanTreeBuilder.h"
#include "sg_scan_internal.h"

#include <PathKit/FilePaths.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/resource.h>

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

long peakResidentKiB()
{
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

int usage()
{
    std::fprintf(stderr, "usage: velmo-scan [-t THREADS] [--split] [--tree] FOLDER\n");
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    int threads = 0;
    bool split = false;
    bool tree = false;
    const char* folder = nullptr;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "-t") == 0 && i + 1 < argc) threads = std::atoi(argv[++i]);
        else if (std::strcmp(argv[i], "--split") == 0) split = true;
        else if (std::strcmp(argv[i], "--tree") == 0) tree = true;
        else if (argv[i][0] != '-' && !folder) folder = argv[i];
        else return usage();
    }
    if (!folder) return usage();

    sg_scan_result_t result {};
    int32_t cancel = 0;
    const auto scanStart = Clock::now();
    const int32_t status = sg_full_scan_with_threads(folder, &result, &cancel, threads);
    const double scanSeconds = secondsSince(scanStart);
    if (status != SG_SCAN_DONE || result.node_count < 1) {
        std::fprintf(stderr, "velmo-scan: cannot scan %s\n", folder);
        sg_scan_result_free(&result);
        return 1;
    }
    std::printf("items %d  allocated %llu  logical %llu  unreadable %d  %s\n", sg_get_items_scanned(&result),
                static_cast<unsigned long long>(result.nodes[0].allocated_size),
                static_cast<unsigned long long>(result.nodes[0].logical_size), sg_get_unreadable_count(&result),
                folder);
    std::fflush(stdout);

    double treeSeconds = 0;
    qsizetype treeNodes = 0;
    if (tree) {
        const auto treeStart = Clock::now();
        auto built = ScanTreeBuilder::fromScanResult(&result, FilePaths::standardized(FilePaths::fromNative(folder, qsizetype(std::strlen(folder)))));
        treeSeconds = secondsSince(treeStart);
        treeNodes = built ? built->nodesByID.size() : 0;
    }

    double rollUpSeconds = 0;
    if (split) {
        // The finishing passes again, on their own, to see their share of the scan above.
        const auto rollUpStart = Clock::now();
        sg_accumulate_sizes(&result);
        sg_build_children(&result);
        rollUpSeconds = secondsSince(rollUpStart);
    }
    sg_scan_result_free(&result);

    if (split) {
        std::fprintf(stderr, "walk %.3f s  roll-ups %.3f s  (sg_full_scan %.3f s)", scanSeconds - rollUpSeconds,
                     rollUpSeconds, scanSeconds);
        if (tree) std::fprintf(stderr, "  buildTree %.3f s (%lld records)", treeSeconds, static_cast<long long>(treeNodes));
        std::fprintf(stderr, "  peak RSS %.1f MiB\n", double(peakResidentKiB()) / 1024.0);
    }
    return 0;
}
