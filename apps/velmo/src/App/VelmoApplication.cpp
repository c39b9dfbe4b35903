#include "App/VelmoApplication.h"

#include "App/StateDump.h"
#include "PathKit/FilePaths.h"
#include "State/SizeMapSession.h"
#include "State/VelmoStore.h"
#include "Support/InMemoryDefaultsStore.h"
#include "Support/SettingsDefaultsStore.h"
#include "Views/MainWindow.h"
#include "Views/SizeMapChartView.h"

#include <QApplication>
#include <QImageReader>
#include <QDir>
#include <QElapsedTimer>
#include <QJsonDocument>
#include <QSaveFile>
#include <QSocketNotifier>
#include <QTimer>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {

struct Options {
    QString screenshotPath;
    QString dumpStatePath;
    QStringList paths;
    // A folder whose size map opens in a tab of its own after start-up.
    QString sizeMapPath;
    // Stay open after the first outputs and write them again on SIGUSR1.
    bool keepRunning = false;
    // Scripted runs use in-memory settings and never touch the user's.
    bool scripted() const { return keepRunning || !screenshotPath.isEmpty() || !dumpStatePath.isEmpty(); }
    // Only a run that ends by itself needs no display.
    bool offscreen() const { return scripted() && !keepRunning; }
};

std::optional<Options> parse(int argc, char** argv)
{
    Options options;
    for (int i = 1; i < argc; ++i) {
        const QString arg = QString::fromLocal8Bit(argv[i]);
        if ((arg == u"--screenshot" || arg == u"--dump-state") && i + 1 < argc) {
            (arg == u"--screenshot" ? options.screenshotPath : options.dumpStatePath) = QString::fromLocal8Bit(argv[++i]);
        } else if (arg == u"--screenshot" || arg == u"--dump-state") {
            std::fprintf(stderr, "velmo: %s needs a file name\n", argv[i]);
            return std::nullopt;
        } else if (arg == u"--size-map" && i + 1 < argc) {
            options.sizeMapPath = QDir::current().absoluteFilePath(QString::fromLocal8Bit(argv[++i]));
        } else if (arg == u"--size-map") {
            std::fprintf(stderr, "velmo: --size-map needs a folder\n");
            return std::nullopt;
        } else if (arg == u"--keep-running") {
            options.keepRunning = true;
        } else if (!arg.startsWith(u'-')) {
            options.paths.append(arg);
        }
        // Other dash arguments belong to Qt or the desktop and are left to them.
    }
    return options;
}

// Every browser pane of the active tab has its first listing (or its failure); a
// size map has finished its scan.
bool firstListingsLanded(const VelmoStore& store)
{
    const WindowTab* tab = store.activeTab();
    if (const SizeMapSession* session = tab ? tab->sizeMapSession() : nullptr) return !session->isScanning();
    if (!tab || !tab->browserPanes()) return true;
    for (const FilePaneStore* pane : {tab->browserPanes()->leftPane(), tab->browserPanes()->rightPane()}) {
        const auto kind = pane->loadState().kind;
        if (kind == FilePaneLoadState::Kind::idle || kind == FilePaneLoadState::Kind::loading) return false;
    }
    return true;
}

// Folder sizes, content counts and the triangles of folders fill in right after
// the listings; a picture of the window waits for them.
bool backgroundWorkSettled(const VelmoStore& store, const MainWindow& window)
{
    // A size map is drawn once its last layout has landed and stopped moving.
    for (const SizeMapChartView* chart : window.findChildren<SizeMapChartView*>())
        if (chart->isVisible() && (chart->isLayingOut() || chart->isAnimating())) return false;
    const WindowTab* tab = store.activeTab();
    if (!tab || !tab->browserPanes()) return true;
    for (const FilePaneStore* pane : {tab->browserPanes()->leftPane(), tab->browserPanes()->rightPane()})
        if (pane->isCalculatingFolderSizes() || pane->isCountingFolderContents() || pane->inlineProbesInFlight() > 0
            || pane->inlineProbesQueued() > 0 || !pane->inlineTree().loadingFolderPaths.isEmpty())
            return false;
    return true;
}

// Each file is replaced whole (written aside, then renamed), so that a reader
// watching it for a rewrite never sees half of one.
bool writeOutputs(const Options& options, MainWindow& window, const VelmoStore& store)
{
    bool ok = true;
    auto write = [&ok](const QString& path, const std::function<bool(QSaveFile&)>& fill) {
        QSaveFile file(path);
        if (!file.open(QIODevice::WriteOnly) || !fill(file) || !file.commit()) {
            std::fprintf(stderr, "velmo: could not write %s\n", qPrintable(path));
            ok = false;
        }
    };
    if (!options.screenshotPath.isEmpty())
        write(options.screenshotPath, [&window](QSaveFile& file) { return window.grab().save(&file, "PNG"); });
    if (!options.dumpStatePath.isEmpty())
        write(options.dumpStatePath,
              [&store](QSaveFile& file) { return file.write(QJsonDocument(StateDump::dump(store)).toJson()) >= 0; });
    return ok;
}

// SIGUSR1, SIGTERM and SIGINT as events on the main thread. The handler may only
// make async-signal-safe calls, so it writes the signal's number to a pipe whose
// reading end a QSocketNotifier watches; the work is done there, in the event loop.
namespace OutputSignal {

int pipeFDs[2] = {-1, -1};

void handle(int signal)
{
    const int saved = errno;
    const char byte = char(signal);
    // A full pipe already holds a wake-up: nothing is lost by dropping this one.
    [[maybe_unused]] const ssize_t written = ::write(pipeFDs[1], &byte, 1);
    errno = saved;
}

bool install()
{
    if (::pipe2(pipeFDs, O_CLOEXEC | O_NONBLOCK) != 0) return false;
    struct sigaction action {};
    action.sa_handler = handle;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    return ::sigaction(SIGUSR1, &action, nullptr) == 0 && ::sigaction(SIGTERM, &action, nullptr) == 0
        && ::sigaction(SIGINT, &action, nullptr) == 0;
}

// Reads every pending wake-up: signals that came together count once each.
QSet<int> drain()
{
    QSet<int> received;
    char buffer[64];
    for (ssize_t n; (n = ::read(pipeFDs[0], buffer, sizeof buffer)) > 0;)
        for (ssize_t i = 0; i < n; ++i) received.insert(buffer[i]);
    return received;
}

} // namespace OutputSignal

// For start-up timing (bench/startup-side-by-side.sh): ends the program once the
// window has been drawn the first time.
class QuitAfterFirstPaint final : public QObject {
public:
    using QObject::QObject;
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint && !posted_) {
            posted_ = true;
            QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit);
        }
        return QObject::eventFilter(watched, event);
    }

private:
    bool posted_ = false;
};

} // namespace

int VelmoApplication::run(int argc, char** argv)
{
    const auto options = parse(argc, argv);
    if (!options) return 2;
    // Pictures and dumps need no display, and must not read or write the user's settings.
    // A run that stays open is driven on a display, so it keeps the real platform.
    if (options->offscreen() && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    // Before anything else: an early SIGUSR1 would otherwise end the program.
    if (!OutputSignal::install()) {
        std::perror("velmo: signals");
        return 1;
    }

    // Qt's GStreamer player crashes when GStreamer's base plugins are missing; its
    // FFmpeg player comes with the same package and needs nothing more.
    if (qEnvironmentVariableIsEmpty("QT_MEDIA_BACKEND")) qputenv("QT_MEDIA_BACKEND", "ffmpeg");
    QApplication app(argc, argv);
    // Qt refuses pictures over 128 MB decoded; previews, compression and markup copies
    // of large photographs (100 megapixels is 400 MB) share one larger budget.
    QImageReader::setAllocationLimit(512);
    QApplication::setApplicationName(QStringLiteral("Velmo"));
    QApplication::setDesktopFileName(QStringLiteral("velmo"));

    std::shared_ptr<DefaultsStore> defaults;
    if (options->scripted()) defaults = std::make_shared<InMemoryDefaultsStore>();
    else defaults = std::make_shared<SettingsDefaultsStore>();
    auto store = VelmoStore::live(defaults, options->paths);
    MainWindow window(store.get());
    QuitAfterFirstPaint quitAfterFirstPaint;
    if (qEnvironmentVariableIsSet("VELMO_QUIT_AFTER_FIRST_PAINT")) window.installEventFilter(&quitAfterFirstPaint);
    window.show();
    QTimer::singleShot(0, store.get(), [&store, &options] {
        store->loadInitialPanes();
        if (!options->sizeMapPath.isEmpty()) store->openSizeMapTab(FilePaths::standardized(options->sizeMapPath), true);
    });
    // SIGTERM and SIGINT end the program as closing the window does: running
    // operations stop cleanly and the session is saved.
    QSocketNotifier signalNotifier(OutputSignal::pipeFDs[0], QSocketNotifier::Read);
    std::function<void()> writeAgain;
    QObject::connect(&signalNotifier, &QSocketNotifier::activated, &app, [&] {
        const QSet<int> received = OutputSignal::drain();
        if (received.contains(SIGTERM) || received.contains(SIGINT)) window.closeStoppingOperations();
        else if (received.contains(SIGUSR1) && writeAgain) writeAgain();
    });

    if (!options->scripted()) {
        const int code = app.exec();
        store->teardown();
        return code;
    }

    int exitCode = 0;
    QElapsedTimer waited;
    waited.start();
    QTimer poll;
    std::optional<qint64> listedAt;
    int settledPolls = 0;
    QObject::connect(&poll, &QTimer::timeout, &app, [&] {
        const bool timedOut = waited.elapsed() > 60'000;
        if (!firstListingsLanded(*store) && !timedOut) return;
        if (!listedAt) listedAt = waited.elapsed();
        // At most 3 s more, and settled over a few polls: a probe is asked for only
        // once the list has been laid out.
        if (!timedOut && waited.elapsed() - *listedAt < 3'000) {
            QCoreApplication::processEvents();
            settledPolls = backgroundWorkSettled(*store, window) ? settledPolls + 1 : 0;
            if (settledPolls < 5) return;
        }
        poll.stop();
        // Let the views take the last commits before the picture is taken.
        QCoreApplication::processEvents();
        if (timedOut) std::fprintf(stderr, "velmo: listings did not finish within 60 s\n");
        exitCode = writeOutputs(*options, window, *store) && !timedOut ? 0 : 1;
        if (!options->keepRunning) app.quit();
    });
    poll.start(2);
    if (options->keepRunning)
        // Also before the first outputs: a picture in the middle of a long scan.
        writeAgain = [&] { writeOutputs(*options, window, *store); };
    const int loopCode = app.exec();
    if (options->keepRunning && exitCode == 0) exitCode = loopCode;
    store->teardown();
    return exitCode;
}
