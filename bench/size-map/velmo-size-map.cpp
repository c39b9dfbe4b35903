// velmo-size-map: scans a folder with FastScanEngine, then times what the size map does
// with the final tree: the sunburst layout (median of runs), the colours of its segments,
// and the hit test (mean over many points of a 1000 x 1000 view).
//
//   velmo-size-map [-n RUNS] [-p POINTS] FOLDER
#include <FileSizeScanner/FastScanEngine.h>
#include <SizeMap/SizeMapNodeColor.h>
#include <SizeMap/SizeMapSunburstGeometry.h>
#include <SizeMap/SizeMapSunburstLayoutService.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

std::optional<ScanTree> finalTree(const char* folder)
{
    ScanUpdateStream stream = FastScanEngine().startScan(QString::fromLocal8Bit(folder));
    while (auto update = stream.next()) {
        if (const auto* finished = std::get_if<ScanUpdate::Finished>(&update->value)) return finished->tree;
        if (update->isTerminal()) return std::nullopt;
    }
    return std::nullopt;
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

int usage()
{
    std::fprintf(stderr, "usage: velmo-size-map [-n RUNS] [-p POINTS] FOLDER\n");
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    int runs = 21;
    int points = 200000;
    const char* folder = nullptr;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "-n") == 0 && i + 1 < argc) runs = std::max(std::atoi(argv[++i]), 1);
        else if (std::strcmp(argv[i], "-p") == 0 && i + 1 < argc) points = std::max(std::atoi(argv[++i]), 1);
        else if (argv[i][0] != '-' && !folder) folder = argv[i];
        else return usage();
    }
    if (!folder) return usage();

    const auto scanStart = Clock::now();
    const auto tree = finalTree(folder);
    if (!tree) {
        std::fprintf(stderr, "velmo-size-map: cannot scan %s\n", folder);
        return 1;
    }
    std::printf("scan + final tree %.0f ms, %lld records\n", millisecondsSince(scanStart),
                static_cast<long long>(tree->nodesByID.size()));

    const SizeMapSunburstLayoutService layout;
    QList<SizeMapSunburstSegment> segments;
    std::vector<double> layoutTimes;
    for (int run = 0; run < runs; ++run) {
        const auto start = Clock::now();
        segments = layout.makeSegments(*tree, tree->rootID);
        layoutTimes.push_back(millisecondsSince(start));
    }
    std::printf("layout: %lld segments, median %.2f ms, min %.2f ms over %d runs\n",
                static_cast<long long>(segments.size()), median(layoutTimes),
                *std::min_element(layoutTimes.begin(), layoutTimes.end()), runs);

    const auto colourStart = Clock::now();
    std::size_t opaque = 0;
    for (const auto& segment : segments) opaque += SizeMapNodeColor::segmentColor(segment, *tree).alpha() == 255;
    std::printf("colours of all segments: %.2f ms (%zu)\n", millisecondsSince(colourStart), opaque);

    const SizeMapSunburstGeometry geometry(QRectF(0, 0, 1000, 1000), segments);
    std::mt19937 random(42);
    std::uniform_real_distribution<double> coordinate(0, 1000);
    std::vector<QPointF> probes(static_cast<std::size_t>(points));
    for (auto& probe : probes) probe = QPointF(coordinate(random), coordinate(random));
    std::size_t hits = 0;
    const auto hitStart = Clock::now();
    for (const QPointF& probe : probes)
        hits += geometry.hitTest(segments, probe, SizeMapSunburstGeometry::HitPurpose::hover).has_value();
    const double hitMilliseconds = millisecondsSince(hitStart);
    std::printf("hit test: %.4f ms per call over %d points (%zu hits)\n", hitMilliseconds / points, points, hits);
    return 0;
}
