#include "Services/InMemoryFilePasteboard.h"
#include "Services/WorkspaceFileActionService.h"
#include "State/VelmoStore.h"
#include "Support/FileURIList.h"
#include "Support/InMemoryDefaultsStore.h"
#include "TestSupport.h"
#include "Views/FileDragData.h"
#include "Views/FilePaneTableModel.h"
#include "Views/FilePaneView.h"
#include "Views/MainWindow.h"

#include <QDropEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>

#include <gtest/gtest.h>

namespace {

// A window over real folders: the left pane shows docs/, report.pdf and
// taken.pdf, the right one r1.txt to r3.txt. Listings are real; transfers wait
// for runAll.
class FileActionViews : public ::testing::Test {
protected:
    FileActionViews()
    {
        tmp.folder("left/docs");
        for (const char* name : {"left/report.pdf", "left/taken.pdf", "right/r1.txt", "right/r2.txt", "right/r3.txt"})
            tmp.file(name, name);
        VelmoStoreDependencies d;
        d.clock = std::make_shared<ManualClock>();
        d.defaults = std::make_shared<InMemoryDefaultsStore>();
        d.directoryWatcherFactory = [](PaneID) { return std::make_shared<FakeDirectoryWatcher>(); };
        d.pasteboard = pasteboard;
        auto actions = std::make_shared<WorkspaceFileActionService>(pasteboard, FreedesktopTrash(tmp / "Trash"));
        d.fileActionServiceFactory = [actions](PaneID) { return actions; };
        d.operations = executor;
        d.initialFolders = {left, right};
        store = std::make_unique<VelmoStore>(std::move(d));
        window = std::make_unique<MainWindow>(store.get());
        window->show();
        window->activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(window.get()));
        store->loadInitialPanes();
        settle();
        view = window->findChild<FilePaneView*>("leftPane");
        pane = view->store();
        view->focusList();
        // QTest's key clicks leave their modifiers as held: a drop reads the keys
        // held now, so each test starts with none.
        QTest::keyRelease(view->table(), Qt::Key_Control);
        EXPECT_EQ(QGuiApplication::queryKeyboardModifiers(), Qt::NoModifier);
    }

    void settle()
    {
        executor->runAll();
        ASSERT_TRUE(waitUntil([this] { return store->activityItems().empty(); }));
    }
    void select(const QString& name) { pane->setSelectedEntryIDs({left + '/' + name}); }
    QPoint rowCenter(const QString& name) const
    {
        return view->table()->visualRect(view->model()->index(view->model()->rowOfEntry(left + '/' + name), 0)).center();
    }
    // A drag that enters the list and drops at `at`: Qt hands the drop to the
    // widget that took the enter.
    void drop(QMimeData* data, const QPoint& at)
    {
        const Qt::DropActions actions = Qt::CopyAction | Qt::MoveAction | Qt::LinkAction;
        QDragEnterEvent enter(at, actions, data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(view->table()->viewport(), &enter);
        QDropEvent event(at, actions, data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(view->table()->viewport(), &event);
        EXPECT_TRUE(event.isAccepted());
        delete data;
        settle();
    }
    QStringList contextMenuAt(const QPoint& at)
    {
        emit view->table()->customContextMenuRequested(at);
        QStringList titles;
        auto* menu = view->findChild<QMenu*>("paneContextMenu");
        for (QAction* action : menu->actions())
            if (!action->isSeparator()) titles << action->text();
        delete menu;
        return titles;
    }

    TemporaryFolder tmp;
    QString left = tmp / "left";
    QString right = tmp / "right";
    std::shared_ptr<InMemoryFilePasteboard> pasteboard = std::make_shared<InMemoryFilePasteboard>();
    std::shared_ptr<ManualExecutor> executor = std::make_shared<ManualExecutor>();
    std::unique_ptr<VelmoStore> store;
    std::unique_ptr<MainWindow> window;
    FilePaneView* view = nullptr;
    FilePaneStore* pane = nullptr;
};

} // namespace

TEST_F(FileActionViews, F2RenamesInPlaceAndAClashReopensTheEditorWithTheRejectedName)
{
    FilePaneTableView* table = view->table();
    select("report.pdf");
    QTest::keyClick(table, Qt::Key_F2);
    ASSERT_TRUE(table->isRenaming());
    EXPECT_EQ(table->renameEditor()->selectedText(), "report");
    QTest::keyClicks(table->renameEditor(), "summary");
    QTest::keyClick(table->renameEditor(), Qt::Key_Return);
    settle();
    EXPECT_FALSE(table->isRenaming());
    EXPECT_TRUE(QFileInfo::exists(left + "/summary.pdf"));
    EXPECT_FALSE(QFileInfo::exists(left + "/report.pdf"));

    // A folder's whole name is selected; Escape leaves it as it was.
    select("docs");
    QTest::keyClick(table, Qt::Key_F2);
    ASSERT_TRUE(table->isRenaming());
    EXPECT_EQ(table->renameEditor()->selectedText(), "docs");
    QTest::keyClicks(table->renameEditor(), "papers");
    QTest::keyClick(table->renameEditor(), Qt::Key_Escape);
    EXPECT_FALSE(table->isRenaming());
    EXPECT_TRUE(QFileInfo::exists(left + "/docs"));

    select("summary.pdf");
    QTest::keyClick(table, Qt::Key_F2);
    QTest::keyClicks(table->renameEditor(), "taken");
    QTest::keyClick(table->renameEditor(), Qt::Key_Return);
    settle();
    auto* toast = view->findChild<QLabel*>("toast");
    EXPECT_TRUE(toast->isVisible());
    EXPECT_EQ(toast->text(), "Could not rename summary.pdf: An item named “taken.pdf” already exists.");
    ASSERT_TRUE(table->isRenaming());
    EXPECT_EQ(table->renameEditor()->selectedText(), "taken.pdf");
    EXPECT_TRUE(QFileInfo::exists(left + "/summary.pdf"));
    EXPECT_TRUE(QFileInfo::exists(left + "/taken.pdf"));
}

TEST_F(FileActionViews, CopyAndPasteKeysEditTheFilterWhileItHasTheFocusAndFilesOtherwise)
{
    select("report.pdf");
    pasteboard->writeFileURLs({right + "/r1.txt"});
    const qint64 changes = pasteboard->changeCount();
    view->focusFilter();
    auto* filter = view->findChild<QLineEdit*>("filter");
    QTest::keyClicks(filter, "rep");
    filter->selectAll();
    QTest::keyClick(filter, Qt::Key_C, Qt::ControlModifier);
    QTest::keyClick(filter, Qt::Key_End);
    QTest::keyClick(filter, Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(filter->text(), "reprep");
    EXPECT_EQ(pasteboard->changeCount(), changes);
    EXPECT_FALSE(pane->isBusy());

    filter->clear();
    select("report.pdf");
    view->focusList();
    QTest::keyClick(view->table(), Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(pasteboard->readFileURLs(), QStringList({left + "/report.pdf"}));

    // The paste shows in the activity strip with a Cancel that stops it.
    auto* strip = window->findChild<QWidget*>("activity");
    EXPECT_FALSE(strip->isVisible());
    QTest::keyClick(view->table(), Qt::Key_V, Qt::ControlModifier);
    EXPECT_TRUE(strip->isVisible());
    auto* cancel = strip->findChild<QPushButton*>("activityCancel");
    ASSERT_TRUE(cancel && cancel->isVisible());
    cancel->click();
    EXPECT_FALSE(cancel->isEnabled());
    settle();
    EXPECT_FALSE(strip->isVisible());
    EXPECT_EQ(QDir(left).entryList(QDir::Files), QStringList({"report.pdf", "taken.pdf"}));

    QTest::keyClick(view->table(), Qt::Key_V, Qt::ControlModifier);
    settle();
    EXPECT_EQ(QDir(left).entryList(QDir::Files).size(), 3);
    EXPECT_EQ(pane->selectedEntries().size(), 1u);
}

TEST_F(FileActionViews, DropsMoveIntoAFolderRowOrThePaneFolderAndExternalDragsCopy)
{
    drop(FileDragData::make({right + "/r1.txt"}), rowCenter("docs"));
    EXPECT_TRUE(QFileInfo::exists(left + "/docs/r1.txt"));
    EXPECT_FALSE(QFileInfo::exists(right + "/r1.txt"));

    drop(FileDragData::make({right + "/r2.txt"}), rowCenter("report.pdf"));
    EXPECT_TRUE(QFileInfo::exists(left + "/r2.txt"));
    EXPECT_FALSE(QFileInfo::exists(right + "/r2.txt"));

    auto* external = new QMimeData;
    external->setData("text/uri-list", FileURIList::uriList({right + "/r3.txt"}));
    drop(external, QPoint(10, view->table()->viewport()->height() - 5));
    EXPECT_TRUE(QFileInfo::exists(left + "/r3.txt"));
    EXPECT_TRUE(QFileInfo::exists(right + "/r3.txt"));
}

TEST_F(FileActionViews, ContextMenusOfferWhatFitsWhereTheClickWent)
{
    const QStringList empty = contextMenuAt(QPoint(10, view->table()->viewport()->height() - 5));
    for (const char* title : {"New Folder...", "New File...", "Paste"}) EXPECT_TRUE(empty.contains(title)) << title;
    EXPECT_FALSE(empty.contains("Move to Trash"));

    // A right click on a row not selected selects it alone.
    select("docs");
    const QStringList one = contextMenuAt(rowCenter("report.pdf"));
    EXPECT_EQ(pane->selectedEntryIDs(), QSet<QString>({left + "/report.pdf"}));
    for (const char* title : {"Rename...", "Move to Trash", "Copy"}) EXPECT_TRUE(one.contains(title)) << title;

    pane->setSelectedEntryIDs({left + "/report.pdf", left + "/taken.pdf"});
    const QStringList several = contextMenuAt(rowCenter("taken.pdf"));
    EXPECT_FALSE(several.contains("Rename..."));
    EXPECT_TRUE(several.contains("Move to Trash"));
    EXPECT_EQ(pane->selectedEntryIDs().size(), 2);
}
