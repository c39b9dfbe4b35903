// velmo-size-map-open: opens a size map on a folder the way the program does (the real
// SizeMapSession with the real scan engine, shown in a real SizeMapView on the offscreen
// platform) and measures what a user waits for and what the main thread does meanwhile.
//
//   velmo-size-map-open [--controls] [--diagnose] [--engine app|whole] [--size WxH] FOLDER
//
//   open        from startScan() to the end of the paint that shows the finished tree's
//               segments, split into the walk, the tree build and hand-over, the finished
//               update on the main thread, the layout on the pool, and the final paint;
//               and before it, the paint of the drawable part of the finished tree, which
//               the engine sends before building the whole of it
//   frames      per scan update: its handling, the layout it caused landing (the side list
//               is rebuilt there too) and the paint that shows it; also the work between
//               two paints of the window and the longest single event
//   memory      the process's peak resident memory when the finished chart is painted
//   --controls  Stop, Rescan and closing the tab while a scan runs, and Rescan and closing
//               with the finished tree on screen
//   --diagnose  where the main thread's time goes once the finished chart is shown: one
//               progress update as the tab handles it, its parts, and the chart's paint
//   --engine whole  the engine without the drawable part: the finished chart waits for the
//               whole tree (app: the engine as the program makes it)
//
// Prints one "name value" line per figure (milliseconds, MiB) for size-map-side-by-side.sh,
// and notes for a reader on stderr.
//
// Every event the main thread handles is timed in QApplication::notify. The walk is timed
// by wrapping sg_full_scan_with_threads at link time (--wrap), so the app needs no hook.
#include "State/SizeMapSession.h"
#include "Support/ByteCountFormatter.h"
#include "Views/SizeMapChartView.h"
#include "Views/SizeMapView.h"

#include <CScanKit/sg_scan.h>
#include <FileSizeScanner/FastScanEngine.h>
#include <SizeMap/SizeMapSunburstGeometry.h>
#include <SizeMap/SizeMapSunburstLayoutService.h>

#include <QApplication>
#include <QImage>
#include <QPainter>
#include <QPointer>
#include <QPushButton>
#include <QTimer>
#include <QTreeWidget>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double msBetween(Clock::time_point from, Clock::time_point to)
{
    return std::chrono::duration<double, std::milli>(to - from).count();
}

Clock::time_point fromTicks(Clock::rep ticks)
{
    return Clock::time_point(Clock::duration(ticks));
}

std::atomic<Clock::rep> walkStarted {0};
std::atomic<Clock::rep> walkEnded {0};

} // namespace

// The engine's call into the walker, timed on the scan's own thread.
extern "C" int32_t __real_sg_full_scan_with_threads(const char*, sg_scan_result_t*, int32_t*, int32_t);
extern "C" int32_t __wrap_sg_full_scan_with_threads(const char* path, sg_scan_result_t* result, int32_t* cancel,
                                                    int32_t threads)
{
    walkStarted = Clock::now().time_since_epoch().count();
    const int32_t status = __real_sg_full_scan_with_threads(path, result, cancel, threads);
    walkEnded = Clock::now().time_since_epoch().count();
    return status;
}

namespace {

// One event the main thread handled from the event loop, and what it turned out to be.
struct Turn {
    Clock::time_point start;
    Clock::time_point end;
    QEvent::Type type = QEvent::None;
    const char* receiverClass = "";
    bool scanUpdate = false;    // delivered a scan update (scanStateChanged)
    bool finished = false;      // the update that finished the scan
    bool drawablePart = false;  // the update that brought the drawable part of the finished tree
    bool layoutPending = false; // the chart was laying out when the turn ended
    bool layoutLanded = false;  // the chart took a new layout (segmentsChanged)
    qsizetype treeNodes = 0;    // records of the session's tree after a scan update
    double chartPaintMs = 0;    // the chart's own paint, when this turn painted it

    double ms() const { return msBetween(start, end); }
    bool paintsWindow() const { return type == QEvent::UpdateRequest; }
};

class TimedApplication : public QApplication {
public:
    using QApplication::QApplication;

    bool notify(QObject* receiver, QEvent* event) override
    {
        const bool chartPaint = event->type() == QEvent::Paint && receiver == chart;
        if (depth_ > 0 && !chartPaint) return QApplication::notify(receiver, event);
        const auto start = Clock::now();
        if (depth_ == 0) current = Turn {start, start, event->type(), receiver->metaObject()->className()};
        ++depth_;
        const bool handled = QApplication::notify(receiver, event);
        --depth_;
        const auto end = Clock::now();
        if (chartPaint) {
            current.chartPaintMs += msBetween(start, end);
            ++chartPaints;
        }
        if (depth_ == 0) {
            current.end = end;
            current.layoutPending = chart && chart->isLayingOut();
            turns.push_back(current);
        }
        return handled;
    }

    bool inTurn() const { return depth_ > 0; }

    QPointer<SizeMapChartView> chart;
    Turn current;
    std::vector<Turn> turns;
    int chartPaints = 0;

private:
    int depth_ = 0;
};

TimedApplication* timedApp()
{
    return static_cast<TimedApplication*>(QCoreApplication::instance());
}

double percentile(std::vector<double> values, double p)
{
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const auto rank = std::size_t(std::max(0.0, std::ceil(p * double(values.size())) - 1));
    return values[std::min(rank, values.size() - 1)];
}

// The median of `runs` calls of `work`, in milliseconds.
double medianMs(int runs, const std::function<void()>& work)
{
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        const auto start = Clock::now();
        work();
        times.push_back(msBetween(start, Clock::now()));
    }
    return percentile(times, 0.5);
}

double statusMiB(const char* field)
{
    std::ifstream status("/proc/self/status");
    std::string line;
    const std::size_t length = std::strlen(field);
    while (std::getline(status, line))
        if (line.compare(0, length, field) == 0) return std::atof(line.c_str() + length + 1) / 1024.0;
    return 0;
}

// Runs the event loop until `done` holds; false after `timeoutMs`. A repeating timer
// wakes the loop so the deadline is seen even when nothing else happens.
template <typename Done>
bool runUntil(Done done, int timeoutMs = 300000)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    QTimer wake;
    wake.start(100);
    while (!done()) {
        if (Clock::now() > deadline) return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

void print(const char* name, double value)
{
    std::printf("%-30s %.2f\n", name, value);
}

// Where, among the turns since `from`, an update handed the session the tree that
// `isWanted` picks, the layout of it landed and the chart painted it.
struct ShownTurns {
    std::size_t update = 0;
    std::size_t landed = 0;
    std::size_t painted = 0;
};

std::optional<ShownTurns> findShown(const std::vector<Turn>& turns, Clock::time_point from,
                                    const std::function<bool(const Turn&)>& isWanted)
{
    ShownTurns found;
    int stage = 0;
    for (std::size_t i = 0; i < turns.size() && stage < 3; ++i) {
        const Turn& turn = turns[i];
        if (turn.start < from) continue;
        if (stage == 0 && turn.scanUpdate && isWanted(turn)) found.update = i, stage = 1;
        else if (stage == 1 && turn.layoutLanded) found.landed = i, stage = 2;
        if (stage == 2 && turn.chartPaintMs > 0) found.painted = i, stage = 3;
    }
    return stage == 3 ? std::optional(found) : std::nullopt;
}

bool isFinished(const Turn& turn)
{
    return turn.finished;
}

enum class EngineKind { app, whole };

std::shared_ptr<ScanEngineProviding> makeEngine(EngineKind kind)
{
    FastScanEngine::Options options;
    if (kind == EngineKind::app) options.drawableLimits = SizeMapSunburstLayoutService {}.drawableLimits();
    return std::make_shared<FastScanEngine>(options);
}

// A size-map tab as the window shows it: the session and its view, shown.
struct Tab {
    Tab(const QString& folder, QSize size, EngineKind engine)
        : session(new SizeMapSession(folder, std::nullopt, makeEngine(engine)))
        , view(new SizeMapView(nullptr, session))
    {
        view->resize(size);
        view->show();
        timedApp()->chart = view->chart();
        QObject::connect(session, &SizeMapSession::scanStateChanged, session, [this] {
            const auto nodes = session->tree() ? session->tree()->nodesByID.size() : 0;
            const bool drawableArrived = session->showsDrawablePart() && previewTree.nodesByID.isEmpty();
            if (drawableArrived) previewTree = *session->tree();
            if (!timedApp()->inTurn()) return;
            Turn& turn = timedApp()->current;
            turn.scanUpdate = true;
            turn.treeNodes = nodes;
            turn.drawablePart = drawableArrived;
            if (session->phase() == SizeMapSession::ScanPhase::finished && !finishedSeen) {
                finishedSeen = true;
                turn.finished = true;
            }
            if (session->isScanning()) ++updatesWhileScanning;
        });
        QObject::connect(view->chart(), &SizeMapChartView::segmentsChanged, view, [] {
            if (timedApp()->inTurn()) timedApp()->current.layoutLanded = true;
        });
    }

    // The main-thread time of a click on one of the tab's buttons.
    double click(const char* name) const
    {
        auto* button = view->findChild<QPushButton*>(QString::fromLatin1(name));
        const auto start = Clock::now();
        button->click();
        return msBetween(start, Clock::now());
    }

    // Waits for `count` more scan updates; false if the scan ended first.
    bool waitForUpdates(int count)
    {
        const int target = updatesWhileScanning + count;
        return runUntil([&] { return updatesWhileScanning >= target || !session->isScanning(); })
            && session->isScanning();
    }

    // Starts a scan and waits until the chart has painted the finished tree.
    bool open()
    {
        finishedSeen = false;
        previewTree = {};
        openedAt = Clock::now();
        session->startScan();
        return runUntil([&] {
            if (session->phase() == SizeMapSession::ScanPhase::failed) return true;
            return findShown(timedApp()->turns, openedAt, isFinished).has_value();
        }) && session->phase() == SizeMapSession::ScanPhase::finished;
    }

    // Closes the tab as the window does: the scan's stream is closed, and the view and
    // the session are deleted later. Returns the call's time and, in `deferredMs`, the
    // longest main-thread turn until both are gone.
    double close(double& deferredMs)
    {
        const auto start = Clock::now();
        session->stopScan();
        view->deleteLater();
        session->deleteLater();
        const double callMs = msBetween(start, Clock::now());
        const std::size_t first = timedApp()->turns.size();
        // Deferred deletes wait for an event loop; this one is driven by processEvents.
        runUntil([&] {
            QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
            return !view && !session;
        }, 60000);
        deferredMs = 0;
        for (std::size_t i = first; i < timedApp()->turns.size(); ++i)
            deferredMs = std::max(deferredMs, timedApp()->turns[i].ms());
        return callMs;
    }

    QPointer<SizeMapSession> session;
    QPointer<SizeMapView> view;
    bool finishedSeen = false;
    int updatesWhileScanning = 0;
    Clock::time_point openedAt;
    ScanTree previewTree;
};

// The main thread's work while the scan ran, three ways:
//   update cycle  one scan update's turn, the landing of the layout it started (where the
//                 side list is rebuilt again) and the window's paint that shows the result
//   window frame  everything from one paint of the window to the end of the next
//   turn          one event, the longest the loop is busy at a time
void printFrames(const std::vector<Turn>& turns, Clock::time_point start, Clock::time_point end)
{
    std::vector<const Turn*> window;
    for (const Turn& turn : turns)
        if (turn.start >= start && turn.end <= end) window.push_back(&turn);

    struct Cycle {
        double ms = 0;
        double updateMs = 0;
        double landingMs = 0;
        double paintMs = 0;
        double chartPaintMs = 0;
        double at = 0;
        bool finished = false;
    };
    std::vector<Cycle> cycles;
    for (std::size_t i = 0; i < window.size(); ++i) {
        if (!window[i]->scanUpdate) continue;
        Cycle cycle {window[i]->ms(), window[i]->ms(), 0, 0, 0, msBetween(start, window[i]->start), window[i]->finished};
        bool awaitingLayout = window[i]->layoutPending;
        for (std::size_t j = i + 1; j < window.size() && !window[j]->scanUpdate; ++j) {
            const Turn& turn = *window[j];
            if (awaitingLayout && turn.layoutLanded) {
                cycle.landingMs += turn.ms();
                awaitingLayout = false;
            } else if (turn.paintsWindow()) {
                cycle.paintMs += turn.ms();
                cycle.chartPaintMs += turn.chartPaintMs;
                if (!awaitingLayout) break;
            }
        }
        cycle.ms = cycle.updateMs + cycle.landingMs + cycle.paintMs;
        cycles.push_back(cycle);
    }

    std::vector<double> cycleTimes, frameTimes, turnTimes, chartPaints;
    for (const Cycle& cycle : cycles) cycleTimes.push_back(cycle.ms);
    double sincePaint = 0;
    for (const Turn* turn : window) {
        turnTimes.push_back(turn->ms());
        if (turn->chartPaintMs > 0) chartPaints.push_back(turn->chartPaintMs);
        sincePaint += turn->ms();
        if (turn->paintsWindow()) {
            frameTimes.push_back(sincePaint);
            sincePaint = 0;
        }
    }
    // Every value too, so that percentiles can be taken over several runs.
    auto printAll = [](const char* name, const std::vector<double>& values) {
        std::printf("%-30s", name);
        for (double value : values) std::printf(" %.2f", value);
        std::printf("\n");
    };
    printAll("cycles_ms", cycleTimes);
    printAll("window_frames_ms", frameTimes);
    printAll("turns_ms", turnTimes);
    printAll("chart_paints_ms", chartPaints);
    print("updates", double(cycles.size()));
    print("cycle_max_ms", percentile(cycleTimes, 1.0));
    print("cycle_p95_ms", percentile(cycleTimes, 0.95));
    print("window_frames", double(frameTimes.size()));
    print("window_frame_max_ms", percentile(frameTimes, 1.0));
    print("window_frame_p95_ms", percentile(frameTimes, 0.95));
    print("turn_max_ms", percentile(turnTimes, 1.0));
    print("turn_p95_ms", percentile(turnTimes, 0.95));
    print("chart_paint_max_ms", percentile(chartPaints, 1.0));
    print("chart_paint_p95_ms", percentile(chartPaints, 0.95));

    std::sort(cycles.begin(), cycles.end(), [](const Cycle& a, const Cycle& b) { return a.ms > b.ms; });
    for (std::size_t i = 0; i < std::min<std::size_t>(3, cycles.size()); ++i)
        std::fprintf(stderr,
                     "# heavy update at %.0f ms%s: %.2f ms = update %.2f + layout landing %.2f + window paint %.2f"
                     " (chart %.2f)\n",
                     cycles[i].at, cycles[i].finished ? " (finished)" : "", cycles[i].ms, cycles[i].updateMs,
                     cycles[i].landingMs, cycles[i].paintMs, cycles[i].chartPaintMs);
}

// The figures of the open: the total and its split.
void printOpen(const Tab& tab, const std::vector<Turn>& turns)
{
    const ShownTurns shown = *findShown(turns, tab.openedAt, isFinished);
    const Turn& finished = turns[shown.update];
    const Turn& landed = turns[shown.landed];
    const Turn& painted = turns[shown.painted];
    const auto walkStart = fromTicks(walkStarted), walkEnd = fromTicks(walkEnded);
    print("open_ms", msBetween(tab.openedAt, painted.end));
    print("start_ms", msBetween(tab.openedAt, walkStart));
    print("walk_ms", msBetween(walkStart, walkEnd));
    print("build_ms", msBetween(walkEnd, finished.start));
    print("finished_turn_ms", finished.ms());
    print("layout_ms", msBetween(finished.end, landed.start));
    print("paint_ms", msBetween(landed.start, painted.end));
    print("final_chart_paint_ms", painted.chartPaintMs);
    print("nodes", double(tab.session->tree()->nodesByID.size()));
    print("segments", double(tab.view->chart()->segments().size()));
}

// When the drawable part of the finished tree was painted, and whether its segments are
// those of the whole tree.
void printPreview(const Tab& tab, const std::vector<Turn>& turns)
{
    const auto shown = findShown(turns, tab.openedAt, [](const Turn& turn) { return turn.drawablePart; });
    if (!shown || tab.previewTree.nodesByID.isEmpty()) {
        std::fprintf(stderr, "# the drawable part was not shown\n");
        return;
    }
    print("preview_open_ms", msBetween(tab.openedAt, turns[shown->painted].end));
    print("preview_build_ms", msBetween(fromTicks(walkEnded), turns[shown->update].start));
    print("preview_nodes", double(tab.previewTree.nodesByID.size()));
    const auto preview = SizeMapSunburstLayoutService {}.makeSegments(tab.previewTree, tab.previewTree.rootID);
    const auto& finalSegments = tab.view->chart()->segments();
    int differing = 0, countsOnly = 0;
    for (qsizetype i = 0; i < std::min(preview.size(), finalSegments.size()); ++i) {
        SizeMapSunburstSegment a = preview[i];
        if (a == finalSegments[i]) continue;
        a.itemCount = finalSegments[i].itemCount;
        ++(a == finalSegments[i] ? countsOnly : differing);
    }
    differing += int(std::abs(preview.size() - finalSegments.size()));
    print("preview_segments_differing", differing);
    print("preview_item_counts_differing", countsOnly);
}

// Where the main thread's time goes with the finished tree shown: a progress update as
// the tab handles it (status, path bar, side list), some of its parts done alone, and the
// chart's paint with its parts done alone on an image of the chart's size.
void printDiagnosis(Tab& tab)
{
    SizeMapSession& session = *tab.session;
    SizeMapChartView& chart = *tab.view->chart();
    const int runs = 15;
    print("diag_progress_update_ms", medianMs(runs, [&] { emit session.scanStateChanged(); }));
    print("diag_focus_change_ms", medianMs(runs, [&] { emit session.focusChanged(); }));
    QList<ScanNodeRecord> children;
    print("diag_focused_children_ms", medianMs(runs, [&] { children = session.focusedChildren(); }));
    if (children.size() > 500) children.resize(500);
    print("diag_colour_lookups_ms", medianMs(runs, [&] {
              for (const auto& child : children) (void)chart.colorOf(child.id);
          }));
    print("diag_swatches_ms", medianMs(runs, [&] {
              for (qsizetype i = 0; i < children.size(); ++i) {
                  QPixmap pixmap(12, 12);
                  pixmap.fill(Qt::transparent);
                  QPainter painter(&pixmap);
                  painter.setRenderHint(QPainter::Antialiasing);
                  painter.setPen(Qt::NoPen);
                  painter.setBrush(QColor::fromHsv(int(i % 360), 160, 200));
                  painter.drawRoundedRect(QRectF(0.5, 0.5, 11, 11), 3, 3);
                  (void)QIcon(pixmap);
              }
          }));
    QTreeWidget list;
    list.resize(tab.view->childList()->size());
    print("diag_list_items_ms", medianMs(runs, [&] {
              list.clear();
              QList<QTreeWidgetItem*> items;
              for (const auto& child : children) {
                  auto* item = new QTreeWidgetItem;
                  item->setText(0, child.displayName);
                  item->setText(1, ByteCountFormatter::string(child.allocatedSize));
                  item->setText(2, QStringLiteral("%1%").arg(1.5, 0, 'f', 1));
                  items.append(item);
              }
              list.addTopLevelItems(items);
          }));
    print("diag_breadcrumbs_ms", medianMs(runs, [&] { (void)session.displayBreadcrumbs(); }));
    print("diag_chart_repaint_ms", medianMs(runs, [&] { chart.repaint(); }));

    const auto& segments = chart.segments();
    const double side = std::min(chart.width(), chart.height()) - 16.0;
    const QRectF area((chart.width() - side) / 2.0, (chart.height() - side) / 2.0, side, side);
    const SizeMapSunburstGeometry geometry(area, segments);
    QList<QPainterPath> paths;
    print("diag_paint_paths_ms", medianMs(runs, [&] {
              paths.clear();
              for (const auto& segment : segments) paths.append(geometry.path(segment));
          }));
    QImage image(chart.size(), QImage::Format_ARGB32_Premultiplied);
    const auto hairline = SizeMapSunburstGeometry::hairlineStroke();
    auto paint = [&](bool fill, bool stroke) {
        image.fill(Qt::white);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        for (qsizetype i = 0; i < paths.size(); ++i) {
            if (fill) painter.fillPath(paths[i], QColor::fromHsv(int(i % 360), 160, 200, 230));
            if (stroke) painter.strokePath(paths[i], QPen(hairline.color, hairline.width));
        }
    };
    print("diag_paint_fill_ms", medianMs(runs, [&] { paint(true, false); }));
    print("diag_paint_fill_opaque_ms", medianMs(runs, [&] {
              image.fill(Qt::white);
              QPainter painter(&image);
              painter.setRenderHint(QPainter::Antialiasing);
              for (qsizetype i = 0; i < paths.size(); ++i) painter.fillPath(paths[i], QColor::fromHsv(int(i % 360), 160, 200));
          }));
    print("diag_paint_fill_aliased_ms", medianMs(runs, [&] {
              image.fill(Qt::white);
              QPainter painter(&image);
              for (qsizetype i = 0; i < paths.size(); ++i) painter.fillPath(paths[i], QColor::fromHsv(int(i % 360), 160, 200, 230));
          }));
    print("diag_paint_stroke_ms", medianMs(runs, [&] { paint(false, true); }));
    print("diag_paint_hairline_drawpath_ms", medianMs(runs, [&] {
              image.fill(Qt::white);
              QPainter painter(&image);
              painter.setRenderHint(QPainter::Antialiasing);
              QPen pen(hairline.color, 0); // cosmetic: one device pixel, no outline computed
              painter.setPen(pen);
              painter.setBrush(Qt::NoBrush);
              for (const auto& path : paths) painter.drawPath(path);
          }));
    print("diag_paint_cached_image_ms", medianMs(runs, [&] {
              QImage target(chart.size(), QImage::Format_ARGB32_Premultiplied);
              QPainter painter(&target);
              painter.drawImage(0, 0, image);
          }));
}

int usage()
{
    std::fprintf(stderr, "usage: velmo-size-map-open [--controls] [--diagnose] [--engine app|whole] [--size WxH] FOLDER\n");
    return 2;
}

int run(int argc, char** argv)
{
    bool controls = false;
    bool diagnose = false;
    EngineKind engine = EngineKind::app;
    QSize size(1280, 800);
    const char* folderArgument = nullptr;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--controls") == 0) controls = true;
        else if (std::strcmp(argv[i], "--diagnose") == 0) diagnose = true;
        else if (std::strcmp(argv[i], "--engine") == 0 && i + 1 < argc) {
            const char* name = argv[++i];
            if (std::strcmp(name, "app") == 0) engine = EngineKind::app;
            else if (std::strcmp(name, "whole") == 0) engine = EngineKind::whole;
            else return usage();
        } else if (std::strcmp(argv[i], "--size") == 0 && i + 1 < argc) {
            int width = 0, height = 0;
            if (std::sscanf(argv[++i], "%dx%d", &width, &height) != 2 || width < 400 || height < 400) return usage();
            size = QSize(width, height);
        } else if (argv[i][0] != '-' && !folderArgument) folderArgument = argv[i];
        else return usage();
    }
    if (!folderArgument) return usage();
    const QString folder = QString::fromLocal8Bit(folderArgument);
    auto* app = timedApp();

    auto tab = std::make_unique<Tab>(folder, size, engine);
    runUntil([&] { return app->chartPaints > 0; }, 10000); // the empty tab is on screen
    if (!tab->open()) {
        std::fprintf(stderr, "velmo-size-map-open: the scan of %s did not finish\n", folderArgument);
        return 1;
    }
    const double peakMiB = statusMiB("VmHWM:");
    const double residentMiB = statusMiB("VmRSS:");
    printOpen(*tab, app->turns);
    print("peak_mib", peakMiB);
    print("resident_mib", residentMiB);
    printFrames(app->turns, tab->openedAt, app->turns[findShown(app->turns, tab->openedAt, isFinished)->painted].end);
    if (engine == EngineKind::app) printPreview(*tab, app->turns);
    std::fflush(stdout);
    if (diagnose) printDiagnosis(*tab);
    if (!controls) return 0;

    // Each control is used a few updates into a scan, while the walk runs.
    auto scanning = [&] {
        if (tab->waitForUpdates(3)) return true;
        std::fprintf(stderr, "velmo-size-map-open: a scan ended before the controls were tried\n");
        return false;
    };
    // Rescan with the finished tree on screen: the large tree is let go of here.
    print("rescan_after_open_ms", tab->click("rescan"));
    if (!scanning()) return 1;
    print("stop_ms", tab->click("stopScan"));
    tab->click("rescan");
    if (!scanning()) return 1;
    print("rescan_ms", tab->click("rescan"));
    if (!scanning()) return 1;
    double deferredMs = 0;
    print("close_ms", tab->close(deferredMs));
    print("close_deferred_ms", deferredMs);

    // Closing with the finished tree on screen.
    tab = std::make_unique<Tab>(folder, size, engine);
    if (!tab->open()) return 1;
    print("close_after_open_ms", tab->close(deferredMs));
    print("close_after_open_deferred_ms", deferredMs);
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // The offscreen platform warns on every window geometry hint; nothing else is expected.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& message) {
        if (type == QtWarningMsg && message.contains(QLatin1String("propagateSizeHints"))) return;
        std::fprintf(stderr, "%s\n", qPrintable(message));
    });
    TimedApplication app(argc, argv);
    const int status = run(argc, argv);
    std::fflush(stdout);
    std::fflush(stderr);
    // Abandoned scans may still be winding down on their own threads: leave without
    // running static destructors under them.
    _exit(status);
}
