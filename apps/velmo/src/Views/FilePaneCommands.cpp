#include "Views/FilePaneCommands.h"

#include "Models/FilePaneCellText.h"
#include "PathKit/FilePaths.h"
#include "State/FilePaneStore.h"
#include "State/VelmoStore.h"
#include "Views/FilePaneTableModel.h"
#include "Views/FilePaneTableView.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QInputDialog>
#include <QLineEdit>
#include <QMenu>

FilePaneCommands::FilePaneCommands(VelmoStore* app, FilePaneStore* store, FilePaneTableView* table,
                                   QWidget* dialogParent)
    : QObject(table), app_(app), store_(store), table_(table), dialogParent_(dialogParent)
{
    connect(table, &FilePaneTableView::renameRequested, this, [this](const QString& id, const QString& name) {
        if (!store_) return;
        const int row = table_->model() ? static_cast<FilePaneTableModel*>(table_->model())->rowOfEntry(id) : -1;
        const FilePaneRow* paneRow = row >= 0 ? static_cast<FilePaneTableModel*>(table_->model())->row(row) : nullptr;
        if (!paneRow) return;
        const FileEntry entry = *paneRow->entry;
        const auto toastBefore = store_->actionToast();
        const auto& options = static_cast<FilePaneTableModel*>(table_->model())->viewOptions();
        const auto renamed = store_->rename(entry, FilePaneCellText::renamedFullName(name, entry, options));
        // A refused name comes back into the editor, so the user can mend it.
        const bool failed = !renamed && store_->actionToast() != toastBefore && store_->actionToast()
            && store_->actionToast()->kind == ToastMessage::Kind::error && !store_->activeTransfer();
        if (failed) table_->beginRename(entry.id, name);
    });
    connect(table, &FilePaneTableView::dropRequested, this, &FilePaneCommands::drop);
    // Items the trash refused: until deleting with privileges is offered, the
    // user is told which ones stayed.
    connect(store, &FilePaneStore::permissionDeniedURLsChanged, this, [this] {
        if (!store_ || !store_->permissionDeniedURLs()) return;
        const QStringList refused = *store_->permissionDeniedURLs();
        store_->clearPermissionDeniedURLs();
        QStringList names;
        for (qsizetype i = 0; i < refused.size() && i < 2; ++i)
            names.append(FilePaths::displayName(FilePaths::lastComponent(refused[i])));
        store_->showActionToast(QStringLiteral("Could not move ") + FilePaneStore::itemCountText(refused.size())
                                    + QStringLiteral(" to the Trash: ") + names.join(QStringLiteral(", "))
                                    + (refused.size() > 2 ? QStringLiteral(", ...") : QString()),
                                ToastMessage::Kind::error);
    });
}

void FilePaneCommands::drop(const QStringList& paths, const QString& destinationURL, FileDropPolicy::Operation operation)
{
    if (!store_) return;
    if (app_) app_->activate(store_->id());
    switch (operation) {
    case FileDropPolicy::Operation::copy:
        store_->startCopyTransfer(FileTransferKind::copy, paths, destinationURL, true);
        break;
    case FileDropPolicy::Operation::move:
        store_->startMoveTransfer(FileTransferKind::move, paths, destinationURL, true);
        break;
    case FileDropPolicy::Operation::link:
        store_->startLinkTransfer(FileTransferKind::link, paths, destinationURL, true);
        break;
    }
}

bool FilePaneCommands::hasSelection() const
{
    return store_ && !store_->selectedEntryIDs().isEmpty();
}

bool FilePaneCommands::canRename() const
{
    return store_ && store_->selectedEntries().size() == 1;
}

void FilePaneCommands::cut()
{
    if (store_) store_->cutSelectionToPasteboard();
}

void FilePaneCommands::copy()
{
    if (store_) store_->copySelectionToPasteboard();
}

void FilePaneCommands::paste()
{
    if (store_) store_->pasteItems();
}

void FilePaneCommands::moveToTrash()
{
    if (store_) store_->moveSelectionToTrash();
}

void FilePaneCommands::undo()
{
    if (store_) store_->undoLastAction();
}

void FilePaneCommands::selectAll()
{
    if (table_) table_->selectAll();
}

std::optional<QString> FilePaneCommands::askForName(const QString& title, const QString& label, const QString& proposal)
{
    QInputDialog dialog(dialogParent_);
    dialog.setWindowTitle(title);
    dialog.setLabelText(label);
    dialog.setTextValue(proposal);
    dialog.setOkButtonText(QStringLiteral("Create"));
    dialog.setObjectName(QStringLiteral("nameDialog"));
    if (auto* field = dialog.findChild<QLineEdit*>()) {
        // The stem is selected, so typing replaces it and keeps the extension.
        const QString extension = FilePaths::extension(proposal);
        QMetaObject::invokeMethod(
            field,
            [field, proposal, extension] {
                field->setSelection(0, int(extension.isEmpty() ? proposal.size() : proposal.size() - extension.size() - 1));
            },
            Qt::QueuedConnection);
    }
    if (dialog.exec() != QDialog::Accepted) return std::nullopt;
    return dialog.textValue();
}

void FilePaneCommands::newFolder()
{
    createNamed(true);
}

void FilePaneCommands::newFile()
{
    createNamed(false);
}

void FilePaneCommands::createNamed(bool folder)
{
    if (!store_) return;
    if (store_->isBusy()) {
        store_->showActionToast(FilePaneStore::busyMessage(), ToastMessage::Kind::error);
        return;
    }
    const auto name = folder ? askForName(QStringLiteral("New Folder"), QStringLiteral("Name of the new folder:"),
                                          QStringLiteral("untitled folder"))
                             : askForName(QStringLiteral("New File"), QStringLiteral("Name of the new file:"),
                                          QStringLiteral("untitled.txt"));
    // The pane may have gone while the dialog was open.
    if (!name || !store_) return;
    if (folder) store_->createFolder(*name);
    else store_->createFile(*name);
}

void FilePaneCommands::rename()
{
    if (!store_ || !table_) return;
    const FileEntryList selected = store_->selectedEntries();
    if (selected.size() != 1) return;
    if (store_->isBusy()) {
        store_->showActionToast(FilePaneStore::busyMessage(), ToastMessage::Kind::error);
        return;
    }
    table_->beginRename(selected.front()->id);
}

void FilePaneCommands::copyPath()
{
    if (!store_) return;
    QStringList paths;
    for (const auto& entry : store_->selectedEntries()) paths.append(entry->url);
    if (paths.isEmpty()) paths.append(store_->currentURL());
    QGuiApplication::clipboard()->setText(paths.join(u'\n'));
}

void FilePaneCommands::reveal()
{
    if (store_) store_->revealSelection();
}

void FilePaneCommands::openInTerminal()
{
    if (store_) store_->openInTerminal();
}

void FilePaneCommands::openSelection()
{
    if (!store_) return;
    const FileEntryList selected = store_->selectedEntries();
    if (!selected.empty()) store_->open(*selected.front());
}

void FilePaneCommands::showPackageContents()
{
    if (!store_) return;
    const FileEntryList selected = store_->selectedEntries();
    if (selected.size() == 1) store_->open(*selected.front(), true);
}

void FilePaneCommands::calculateFolderSizes()
{
    if (store_) store_->calculateFolderSizesForVisibleFolders();
}

QMenu* FilePaneCommands::contextMenu(const FileEntry* entry, QWidget* parent)
{
    auto* menu = new QMenu(parent);
    menu->setObjectName(QStringLiteral("paneContextMenu"));
    auto add = [menu](const QString& title, const QKeySequence& key, auto slot, bool enabled = true) {
        QAction* action = menu->addAction(title);
        action->setShortcut(key);
        action->setEnabled(enabled);
        QObject::connect(action, &QAction::triggered, menu, slot);
        return action;
    };
    const bool canPaste = store_ && store_->canPaste();
    if (!entry) {
        add(QStringLiteral("New Folder..."), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_N), [this] { newFolder(); });
        add(QStringLiteral("New File..."), QKeySequence(), [this] { newFile(); });
        menu->addSeparator();
        add(QStringLiteral("Paste"), QKeySequence::Paste, [this] { paste(); }, canPaste);
        menu->addSeparator();
        add(QStringLiteral("Copy Path"), QKeySequence(), [this] { copyPath(); });
        add(QStringLiteral("Calculate Folder Sizes"), QKeySequence(), [this] { calculateFolderSizes(); });
        add(QStringLiteral("Open in Terminal"), QKeySequence(), [this] { openInTerminal(); });
        return menu;
    }
    const bool single = store_ && store_->selectedEntryIDs().size() == 1;
    if (single) {
        add(QStringLiteral("Open"), QKeySequence(Qt::Key_Return), [this] { openSelection(); });
        if (entry->isPackage) add(QStringLiteral("Show Package Contents"), QKeySequence(), [this] { showPackageContents(); });
        menu->addSeparator();
    }
    add(QStringLiteral("Cut"), QKeySequence::Cut, [this] { cut(); });
    add(QStringLiteral("Copy"), QKeySequence::Copy, [this] { copy(); });
    if (single) {
        add(QStringLiteral("Paste"), QKeySequence::Paste, [this] { paste(); }, canPaste);
        menu->addSeparator();
        add(QStringLiteral("Rename..."), QKeySequence(Qt::Key_F2), [this] { rename(); });
        add(QStringLiteral("Copy Path"), QKeySequence(), [this] { copyPath(); });
        add(QStringLiteral("Reveal in File Manager"), QKeySequence(), [this] { reveal(); });
        add(QStringLiteral("Open in Terminal"), QKeySequence(), [this] { openInTerminal(); });
        if (entry->isDirectory)
            add(QStringLiteral("Calculate Folder Sizes"), QKeySequence(), [this] { calculateFolderSizes(); });
        if (auto url = entry->sizeMapURL(); url && app_)
            add(QStringLiteral("Open Size Map"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_M),
                [this, target = *url] { app_->openSizeMapTab(target, true); });
        if (app_ && (entry->pdfCompressionURL() || entry->imageCompressionURL() || entry->previewableVideoURL())) {
            const bool shown = app_->activeSidePreview().has_value();
            add(shown ? QStringLiteral("Hide Preview in Other Pane") : QStringLiteral("Show Preview in Other Pane"),
                QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_P), [this] {
                    if (app_) app_->toggleSidePreview(store_->id());
                });
        }
    } else {
        add(QStringLiteral("Copy Path"), QKeySequence(), [this] { copyPath(); });
    }
    // Compression of what is selected, where it holds images or PDFs.
    if (app_) {
        QStringList images, pdfs;
        for (const auto& selected : store_->selectedEntries()) {
            if (auto url = selected->imageCompressionURL()) images << *url;
            if (auto url = selected->pdfCompressionURL()) pdfs << *url;
        }
        if (!images.isEmpty() || !pdfs.isEmpty()) menu->addSeparator();
        if (!images.isEmpty())
            add(images.size() == 1 ? QStringLiteral("Compress Image") : QStringLiteral("Compress %1 Images").arg(images.size()),
                QKeySequence(), [this, images] { app_->openImageCompressionTab(images); });
        if (!pdfs.isEmpty())
            add(pdfs.size() == 1 ? QStringLiteral("Compress PDF") : QStringLiteral("Compress %1 PDFs").arg(pdfs.size()),
                QKeySequence(), [this, pdfs] { app_->openPDFCompressionTab(pdfs); });
    }
    menu->addSeparator();
    add(QStringLiteral("Move to Trash"), QKeySequence(Qt::Key_Delete), [this] { moveToTrash(); });
    return menu;
}
