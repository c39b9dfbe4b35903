// velmo-scan: scans a folder with the parallel walker and prints the item count and the
// allocated and logical totals of the root.
//
//   velmo-scan [-t THREADS] [--split] [--tree] FOLDER
//     -t N     worker threads (default: one per online processor)
//     --split  print on stderr the scan's time (and, with --tree, the final tree's) and the
//              resident memory
//     --tree   also build the final ScanTree, as the size map receives it
#include "CScanKit/sg_scan.h"
#include "FileSizeScanner/LocalFileSystemProvider.h"
#include "FileSizeScanner/ScanTreeBuilder.h"

#include <PathKit/FilePaths.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double residentMiB()
{
    long pages = 0, resident = 0;
    if (FILE* statm = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(statm, "%ld %ld", &pages, &resident) != 2) resident = 0;
        std::fclose(statm);
    }
    return double(resident) * double(sysconf(_SC_PAGESIZE)) / (1024.0 * 1024.0);
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

    const double walkResident = residentMiB();
    double treeResident = 0;
    double treeSeconds = 0;
    qsizetype treeNodes = 0;
    if (tree) {
        const auto treeStart = Clock::now();
        const QString root = FilePaths::standardized(FilePaths::fromNative(folder, qsizetype(std::strlen(folder))));
        ScanTreeBuilder::sizePackages(&result, root, LocalFileSystemProvider());
        auto built = ScanTreeBuilder::fromScanResult(&result, root);
        treeSeconds = secondsSince(treeStart);
        treeResident = residentMiB();
        treeNodes = built ? built->nodesByID.size() : 0;
    }

    sg_scan_result_free(&result);

    if (split) {
        std::fprintf(stderr, "sg_full_scan %.3f s", scanSeconds);
        if (tree) std::fprintf(stderr, "  buildTree %.3f s (%lld records)", treeSeconds, static_cast<long long>(treeNodes));
        std::fprintf(stderr, "\nresident after walk %.1f MiB", walkResident);
        if (tree) std::fprintf(stderr, ", with tree %.1f MiB", treeResident);
        std::fprintf(stderr, ", peak %.1f MiB\n", double(peakResidentKiB()) / 1024.0);
    }
    return 0;
}
