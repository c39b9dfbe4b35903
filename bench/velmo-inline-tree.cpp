// Unfolding and folding a large folder in a pane's list, as a user does it: a
// pane view on screen (offscreen platform) with the program's own listing
// service, the Right and Left keys sent to its list, and the time taken until
// the list has painted the new rows.
//
//   velmo-inline-tree FOLDER CHILD [ROUNDS]
//       FOLDER is shown; CHILD (a folder inside it) is selected, unfolded with
//       Right and folded with Left, ROUNDS times (default 9).
//
// Prints each round's times and the medians, in milliseconds.
#include "Services/DirectoryListingService.h"
#include "State/FilePaneStore.h"
#include "Views/FilePaneTableModel.h"
#include "Views/FilePaneTableView.h"
#include "Views/FilePaneView.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QKeyEvent>

#include <algorithm>
#include <cstdio>

namespace {

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : values[values.size() / 2];
}

void press(QWidget* widget, Qt::Key key)
{
    QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier);
    QCoreApplication::sendEvent(widget, &down);
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    if (argc < 3) {
        std::fprintf(stderr, "usage: velmo-inline-tree FOLDER CHILD [ROUNDS]\n");
        return 2;
    }
    const QString folder = QString::fromLocal8Bit(argv[1]);
    const QString child = folder + '/' + QString::fromLocal8Bit(argv[2]);
    const int rounds = argc > 3 ? std::max(1, std::atoi(argv[3])) : 9;

    FilePaneServices services;
    services.listing = std::make_shared<DirectoryListingService>();
    FilePaneStore::Configuration configuration;
    configuration.folderURL = folder;
    FilePaneStore store(PaneID::left, services, configuration);
    FilePaneView view(nullptr, &store);
    view.resize(1000, 800);
    view.show();
    store.startLoad(folder);
    while (store.isLoading()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    QCoreApplication::processEvents();

    FilePaneTableView* table = view.table();
    auto* model = view.model();
    std::vector<double> unfold, fold;
    for (int round = 0; round < rounds; ++round) {
        store.setSelectedEntryIDs({child});
        QCoreApplication::processEvents();
        const int before = model->rowCount();
        QElapsedTimer timer;
        timer.start();
        press(table, Qt::Key_Right);
        while (model->rowCount() == before) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        table->viewport()->repaint();
        unfold.push_back(double(timer.nsecsElapsed()) / 1e6);
        const int open = model->rowCount();

        timer.restart();
        press(table, Qt::Key_Left);
        while (model->rowCount() == open) QCoreApplication::processEvents();
        table->viewport()->repaint();
        fold.push_back(double(timer.nsecsElapsed()) / 1e6);
        std::printf("round %d: rows %d -> %d, unfold_ms=%.2f fold_ms=%.2f\n", round + 1, before, open, unfold.back(),
                    fold.back());
    }
    std::printf("median unfold_ms=%.2f fold_ms=%.2f\n", median(unfold), median(fold));
    return 0;
}
