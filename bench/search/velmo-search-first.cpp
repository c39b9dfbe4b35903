// velmo-search-first: how long a user waits, after pressing Return in a search tab, for the
// first result to be painted in the list. The real SearchSession with the real search service
// (file index first where it covers the folder) fills a real SearchView on the offscreen
// platform; the time runs from Return to the end of the first paint of the list that shows
// a row.
//
//   velmo-search-first [-n ROUNDS] [--db DATABASE] [--walk-only] FOLDER QUERY
//     --db FILE    the index database; the folder counts as covered by it (as the home
//                  folder is for the program), so the index is asked first
//     --walk-only  no index: the first result must come from the walk
//
// Prints "first_paint_ms" for each round and their median, and "first_batch_ms", the time
// the first results reached the session (before the paint).
#include "State/SearchSession.h"
#include "Views/SearchResultsModel.h"
#include "Views/SearchView.h"

#include <FileSearch/FileNameSearchService.h>
#include <PathKit/FilePaths.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>
#include <QLineEdit>
#include <QTableView>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// Notes the end of the first paint of the list's viewport that happens with rows to show.
class TimingApplication final : public QApplication {
public:
    using QApplication::QApplication;
    QWidget* watched = nullptr;
    SearchResultsModel* model = nullptr;
    bool painted = false;
    double paintedAt = 0;
    const QElapsedTimer* round = nullptr; // the running round's, from Return

    bool notify(QObject* receiver, QEvent* event) override
    {
        const bool handled = QApplication::notify(receiver, event);
        if (!painted && event->type() == QEvent::Paint && receiver == watched && model && model->rowCount() > 0) {
            painted = true;
            paintedAt = round ? double(round->nsecsElapsed()) / 1e6 : 0;
        }
        return handled;
    }
};

double median(std::vector<double> values)
{
    if (values.empty()) return 0;
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

int usage()
{
    std::fprintf(stderr, "usage: velmo-search-first [-n ROUNDS] [--db DATABASE] [--walk-only] FOLDER QUERY\n");
    return 2;
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    int rounds = 5;
    FileNameSearchService::Configuration configuration;
    int i = 1;
    for (; i < argc && argv[i][0] == '-'; ++i) {
        const bool hasValue = i + 1 < argc;
        if (!std::strcmp(argv[i], "-n") && hasValue) rounds = std::atoi(argv[++i]);
        else if (!std::strcmp(argv[i], "--db") && hasValue) configuration.locateDatabase = QString::fromLocal8Bit(argv[++i]);
        else if (!std::strcmp(argv[i], "--walk-only")) configuration.locateProgram.clear();
        else return usage();
    }
    if (argc - i != 2 || rounds < 1) return usage();
    TimingApplication app(argc, argv);
    const QString folder = FilePaths::fromNative(argv[i], qsizetype(std::strlen(argv[i])));
    configuration.homeFolder = folder;
    auto service = std::make_shared<FileNameSearchService>(configuration);
    std::printf("# index used: %s\n", service->shouldUseIndexedSearch(folder) ? "yes" : "no");

    SearchSession session(folder, std::nullopt, {.searchService = service, .executor = {}, .clock = {}});
    SearchView view(nullptr, &session);
    view.resize(1100, 700);
    view.show();
    app.watched = view.resultList()->viewport();
    app.model = view.model();
    QApplication::processEvents();

    std::vector<double> paints, batches;
    for (int round = 0; round < rounds; ++round) {
        session.stopSearch();
        view.queryField()->setText(QString::fromLocal8Bit(argv[i + 1]));
        QApplication::processEvents();
        app.painted = false;
        double batchMs = -1;
        QElapsedTimer timer;
        const auto appended = QObject::connect(&session, &SearchSession::resultsAppended, [&] {
            if (batchMs < 0) batchMs = double(timer.nsecsElapsed()) / 1e6;
        });
        QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
        QKeyEvent release(QEvent::KeyRelease, Qt::Key_Return, Qt::NoModifier);
        timer.start();
        app.round = &timer;
        QApplication::sendEvent(view.queryField(), &press);
        QApplication::sendEvent(view.queryField(), &release);
        while (!app.painted && (session.isSearching() || view.model()->rowCount() > 0))
            QApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        const double paintMs = app.paintedAt;
        QObject::disconnect(appended);
        if (!app.painted) {
            std::fprintf(stderr, "no result for the query\n");
            return 1;
        }
        std::printf("round %d first_batch_ms %.1f first_paint_ms %.1f\n", round + 1, batchMs, paintMs);
        paints.push_back(paintMs);
        batches.push_back(batchMs);
    }
    session.teardown();
    std::printf("first_batch_ms %.1f\nfirst_paint_ms %.1f\n", median(batches), median(paints));
    return 0;
}
