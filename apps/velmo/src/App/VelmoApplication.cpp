#include "App/VelmoApplication.h"

#include "App/StateDump.h"
#include "State/VelmoStore.h"
#include "Support/InMemoryDefaultsStore.h"
#include "Support/SettingsDefaultsStore.h"
#include "Views/MainWindow.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonDocument>
#include <QTimer>

#include <cstdio>

namespace {

struct Options {
    QString screenshotPath;
    QString dumpStatePath;
    QStringList paths;
    bool headless() const { return !screenshotPath.isEmpty() || !dumpStatePath.isEmpty(); }
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
        } else if (!arg.startsWith(u'-')) {
            options.paths.append(arg);
        }
        // Other dash arguments belong to Qt or the desktop and are left to them.
    }
    return options;
}

// Every browser pane of the active tab has its first listing (or its failure).
bool firstListingsLanded(const VelmoStore& store)
{
    const WindowTab* tab = store.activeTab();
    if (!tab || !tab->browserPanes()) return true;
    for (const FilePaneStore* pane : {tab->browserPanes()->leftPane(), tab->browserPanes()->rightPane()}) {
        const auto kind = pane->loadState().kind;
        if (kind == FilePaneLoadState::Kind::idle || kind == FilePaneLoadState::Kind::loading) return false;
    }
    return true;
}

bool writeOutputs(const Options& options, MainWindow& window, const VelmoStore& store)
{
    bool ok = true;
    if (!options.screenshotPath.isEmpty() && !window.grab().save(options.screenshotPath, "PNG")) {
        std::fprintf(stderr, "velmo: could not write %s\n", qPrintable(options.screenshotPath));
        ok = false;
    }
    if (!options.dumpStatePath.isEmpty()) {
        QFile file(options.dumpStatePath);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)
            || file.write(QJsonDocument(StateDump::dump(store)).toJson()) < 0) {
            std::fprintf(stderr, "velmo: could not write %s\n", qPrintable(options.dumpStatePath));
            ok = false;
        }
    }
    return ok;
}

} // namespace

int VelmoApplication::run(int argc, char** argv)
{
    const auto options = parse(argc, argv);
    if (!options) return 2;
    // Pictures and dumps need no display, and must not read or write the user's settings.
    if (options->headless() && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Velmo"));
    QApplication::setDesktopFileName(QStringLiteral("velmo"));

    std::shared_ptr<DefaultsStore> defaults;
    if (options->headless()) defaults = std::make_shared<InMemoryDefaultsStore>();
    else defaults = std::make_shared<SettingsDefaultsStore>();
    auto store = VelmoStore::live(defaults, options->paths);
    MainWindow window(store.get());
    window.show();
    QTimer::singleShot(0, store.get(), [&store] { store->loadInitialPanes(); });

    if (!options->headless()) return app.exec();

    int exitCode = 0;
    QElapsedTimer waited;
    waited.start();
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &app, [&] {
        const bool timedOut = waited.elapsed() > 60'000;
        if (!firstListingsLanded(*store) && !timedOut) return;
        poll.stop();
        // Let the views take the last commits before the picture is taken.
        QCoreApplication::processEvents();
        if (timedOut) std::fprintf(stderr, "velmo: listings did not finish within 60 s\n");
        exitCode = writeOutputs(*options, window, *store) && !timedOut ? 0 : 1;
        app.quit();
    });
    poll.start(2);
    app.exec();
    store->teardown();
    return exitCode;
}
