#pragma once

#include <FileSizeScanner/ScanEngineProviding.h>

#include <atomic>
#include <chrono>

// A trial engine for the size-map benchmark, not used by the program: the application's
// scan (same walker, same live snapshots, same final tree), plus one more live tree sent
// as soon as the walk ends and before the final tree is built. That tree holds only what
// the chart can draw from the root, with the finished sizes, so the finished picture can be
// painted while the full tree (a second or more for a million entries) is still built.
//
// What the chart cannot draw is kept as its size: the children of a folder too small to be
// drawn are packed into a few stand-ins, each still too small to be drawn, so the
// "smaller objects" arcs keep their exact angles (only their item counts differ).
class PreviewFirstScanEngine : public ScanEngineProviding {
public:
    // The chart's limits; the layout service's defaults.
    struct Limits {
        int rings = 6;
        double minimumFraction = 0.0035;
        double minimumAngleDegrees = 0.42;
    };

    PreviewFirstScanEngine() = default;
    explicit PreviewFirstScanEngine(Limits limits) : limits_(limits) { }

    ScanUpdateStream startScan(const QString& rootPath) override;

    // When the last preview was sent and how many records it held, for the benchmark to
    // find it among the session's updates.
    static inline std::atomic<std::chrono::steady_clock::rep> previewSentAt {0};
    static inline std::atomic<long long> previewNodes {0};
    static inline std::atomic<double> previewBuildMs {0};

private:
    Limits limits_ {};
};
