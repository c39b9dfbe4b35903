#include "Views/FilePaneTableView.h"

#include "Models/FilePaneCellText.h"
#include "Models/RenameWordStop.h"
#include "PathKit/FilePaths.h"
#include "Views/FileDragData.h"
#include "Views/FilePaneListStyle.h"
#include "Views/FilePaneTableModel.h"

#include <QApplication>
#include <QDrag>
#include <QDragEnterEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>

FilePaneTableView::FilePaneTableView(QWidget* parent) : QTableView(parent)
{
    setDragEnabled(true);
    setAcceptDrops(true);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDropIndicatorShown(false);
    setDefaultDropAction(Qt::MoveAction);
}

void FilePaneTableView::setPaneModel(FilePaneTableModel* model)
{
    model_ = model;
    setModel(model);
    connect(model, &QAbstractItemModel::modelReset, this, &FilePaneTableView::placeRenameEditor);
    connect(model, &QAbstractItemModel::rowsInserted, this, &FilePaneTableView::placeRenameEditor);
    connect(model, &QAbstractItemModel::rowsRemoved, this, &FilePaneTableView::placeRenameEditor);
    connect(model, &QAbstractItemModel::layoutChanged, this, &FilePaneTableView::placeRenameEditor);
}

// ---------------------------------------------------------------- keys

void FilePaneTableView::keyboardSearch(const QString& text)
{
    if (text.isEmpty() || !model_) return;
    const quint64 now = clock_->uptimeNanoseconds();
    const quint64 pause = quint64(QApplication::keyboardInputInterval()) * 1'000'000;
    if (now - lastKeyNanos_ > pause) typed_.clear();
    lastKeyNanos_ = now;
    // A search never starts with a space (the list gives Space its own meaning).
    if (typed_.isEmpty() && text.trimmed().isEmpty()) return;
    typed_ += text;
    // The raw name reads as the Name column does for anything typed (the column
    // only shows bytes that are not text as U+FFFD), without a copy per row.
    for (int r = 0; r < model_->rowCount(); ++r) {
        if (!QStringView(model_->row(r)->entry->name).startsWith(typed_, Qt::CaseInsensitive)) continue;
        const QModelIndex found = model_->index(r, 0);
        // Explicit flags: the held Shift of a capital letter must not extend the selection.
        selectionModel()->setCurrentIndex(found, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        scrollTo(found);
        return;
    }
}

QModelIndex FilePaneTableView::moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers)
{
    if ((action != MoveHome && action != MoveEnd) || !model_ || model_->rowCount() == 0)
        return QTableView::moveCursor(action, modifiers);
    const int column = std::max(currentIndex().column(), 0);
    return model_->index(action == MoveHome ? 0 : model_->rowCount() - 1, column);
}

// ---------------------------------------------------------------- drag out

void FilePaneTableView::startDrag(Qt::DropActions)
{
    QStringList paths;
    const QModelIndexList rows = selectionModel()->selectedRows();
    for (const QModelIndex& index : rows)
        if (const FilePaneRow* row = model_->row(index.row())) paths.append(row->entry->url);
    if (paths.isEmpty()) return;
    auto* drag = new QDrag(this);
    drag->setMimeData(FileDragData::make(paths));
    const QIcon icon = model_->data(model_->index(rows.front().row(), 0), Qt::DecorationRole).value<QIcon>();
    if (!icon.isNull()) drag->setPixmap(icon.pixmap(32, 32));
    // The drop target decides: this program moves inside itself, copies across
    // programs; another program that moves the files does so itself.
    drag->exec(Qt::CopyAction | Qt::MoveAction | Qt::LinkAction, Qt::MoveAction);
}

// ---------------------------------------------------------------- drops in

QString FilePaneTableView::dropTarget(const QPoint& position, int* row) const
{
    const int r = rowAt(position.y());
    const FilePaneRow* paneRow = r >= 0 ? model_->row(r) : nullptr;
    const QString target = FileDropPolicy::dropTargetURL(paneRow ? paneRow->entry.get() : nullptr, folderURL_);
    *row = paneRow && paneRow->entry->dropDestinationDirectoryURL() ? r : -1;
    return target;
}

void FilePaneTableView::acceptDrag(QDropEvent* event)
{
    int row = -1;
    const QString target = dropTarget(event->position().toPoint(), &row);
    const auto operation = FileDragData::operation(event, target);
    const int previousRow = dropRow_;
    const bool previousOnTable = dropOnTable_;
    if (!operation) {
        dropRow_ = -1;
        dropOnTable_ = false;
        event->ignore();
    } else {
        dropRow_ = row;
        dropOnTable_ = row < 0;
        event->setDropAction(*operation == FileDropPolicy::Operation::copy   ? Qt::CopyAction
                             : *operation == FileDropPolicy::Operation::move ? Qt::MoveAction
                                                                             : Qt::LinkAction);
        event->accept();
    }
    if (previousRow != dropRow_ || previousOnTable != dropOnTable_) viewport()->update();
}

void FilePaneTableView::dragEnterEvent(QDragEnterEvent* event)
{
    if (FileDragData::paths(event->mimeData()).isEmpty()) {
        event->ignore();
        return;
    }
    acceptDrag(event);
    // Some sources only look at the enter answer.
    if (!event->isAccepted()) event->acceptProposedAction();
}

void FilePaneTableView::dragMoveEvent(QDragMoveEvent* event)
{
    acceptDrag(event);
    // Near the edges the list scrolls, as Qt's own drag handling does.
    const int margin = 20;
    const int y = int(event->position().y());
    if (y < margin) verticalScrollBar()->setValue(verticalScrollBar()->value() - 1);
    else if (y > viewport()->height() - margin) verticalScrollBar()->setValue(verticalScrollBar()->value() + 1);
}

void FilePaneTableView::dragLeaveEvent(QDragLeaveEvent* event)
{
    dropRow_ = -1;
    dropOnTable_ = false;
    viewport()->update();
    QTableView::dragLeaveEvent(event);
}

void FilePaneTableView::dropEvent(QDropEvent* event)
{
    int row = -1;
    const QString target = dropTarget(event->position().toPoint(), &row);
    const auto operation = FileDragData::operation(event, target);
    const QStringList paths = FileDragData::paths(event->mimeData());
    dropRow_ = -1;
    dropOnTable_ = false;
    viewport()->update();
    if (!operation || paths.isEmpty()) {
        event->ignore();
        return;
    }
    // The source must not delete anything itself: this program does the move.
    event->setDropAction(*operation == FileDropPolicy::Operation::link ? Qt::LinkAction : Qt::CopyAction);
    event->accept();
    emit dropRequested(paths, target, *operation);
}

void FilePaneTableView::paintEvent(QPaintEvent* event)
{
    QTableView::paintEvent(event);
    if (dropRow_ < 0 && !dropOnTable_) return;
    QPainter painter(viewport());
    QColor color = palette().color(QPalette::Highlight);
    painter.setPen(QPen(color, 2));
    color.setAlpha(40);
    painter.setBrush(color);
    if (dropRow_ >= 0) {
        const QRect first = visualRect(model_->index(dropRow_, 0));
        painter.drawRoundedRect(QRect(0, first.top(), viewport()->width() - 1, first.height() - 1), 4, 4);
    } else {
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(viewport()->rect().adjusted(1, 1, -2, -2));
    }
}

// ---------------------------------------------------------------- rename in place

void FilePaneTableView::beginRename(const QString& entryID, const std::optional<QString>& text)
{
    cancelRename();
    const int row = model_->rowOfEntry(entryID);
    if (row < 0) return;
    const FilePaneRow* paneRow = model_->row(row);
    renameEntryID_ = entryID;
    auto* editor = new QLineEdit(viewport());
    editor->setObjectName(QStringLiteral("renameEditor"));
    editor->setFrame(true);
    editor->installEventFilter(this);
    renameEditor_ = editor;
    scrollTo(model_->index(row, 0));
    placeRenameEditor();
    if (text) {
        editor->setText(*text);
        editor->selectAll();
    } else {
        const FileEntry& entry = *paneRow->entry;
        const QString& name = entry.name;
        // The stem: a folder's whole name, a file's name before its extension.
        // With extensions hidden the editor holds only the stem, and the commit
        // puts the extension back.
        const QString extension = entry.isDirectory ? QString() : FilePaths::extension(name);
        const int stem = extension.isEmpty() ? int(name.size()) : int(name.size() - extension.size() - 1);
        const bool stemOnly = FilePaneCellText::hidesExtension(entry, model_->viewOptions());
        editor->setText(stemOnly ? name.left(stem) : name);
        editor->setSelection(0, stem);
    }
    editor->show();
    editor->setFocus();
}

void FilePaneTableView::placeRenameEditor()
{
    if (!renameEditor_) return;
    const int row = model_->rowOfEntry(renameEntryID_);
    if (row < 0) {
        cancelRename();
        return;
    }
    const int nameSection = model_->sectionOfSortColumn(FileEntrySortColumn::name);
    QRect rect = visualRect(model_->index(row, std::max(nameSection, 0)));
    // Past the icon, as wide as the column.
    const int indent = iconSize().isValid() ? iconSize().width() + 8 : 24;
    const int depth = model_->row(row)->depth;
    rect.setLeft(FilePaneListStyle::disclosureRect(rect, depth).right() + 1 + indent);
    renameEditor_->setGeometry(rect.adjusted(0, -2, 0, 2));
}

void FilePaneTableView::scrollContentsBy(int dx, int dy)
{
    QTableView::scrollContentsBy(dx, dy);
    placeRenameEditor();
}

void FilePaneTableView::cancelRename()
{
    if (!renameEditor_) return;
    QLineEdit* editor = renameEditor_;
    renameEditor_ = nullptr;
    editor->removeEventFilter(this);
    editor->hide();
    editor->deleteLater();
    setFocus();
}

void FilePaneTableView::commitRename()
{
    if (!renameEditor_) return;
    const QString text = renameEditor_->text();
    const QString id = renameEntryID_;
    cancelRename();
    emit renameRequested(id, text);
}

// Alt+arrows move by words as the editor's Ctrl+arrows do, but stop once before
// a file's extension (when the view options ask for it).
void FilePaneTableView::moveRenameCursorByWord(bool forward, bool extend)
{
    const FilePaneRow* paneRow = renameEditor_ ? model_->row(model_->rowOfEntry(renameEntryID_)) : nullptr;
    if (!paneRow) return;
    using RenameWordStop::Selection;
    QLineEdit* editor = renameEditor_;
    auto selectionOf = [](const QLineEdit& line) {
        if (!line.hasSelectedText()) return Selection {line.cursorPosition(), line.cursorPosition()};
        return Selection {line.selectionStart(), line.selectionEnd()};
    };
    // The editor's own answer, from a scratch copy with the same text and selection.
    QLineEdit scratch(editor->text());
    const int cursor = editor->cursorPosition();
    const Selection before = selectionOf(*editor);
    const int anchor = before.start == cursor ? before.end : before.start;
    scratch.setCursorPosition(anchor);
    scratch.cursorForward(true, cursor - anchor);
    forward ? scratch.cursorWordForward(extend) : scratch.cursorWordBackward(extend);
    const Selection standard = selectionOf(scratch);

    using Move = RenameWordStop::Move;
    const Move move = forward ? (extend ? Move::rightExtending : Move::right) : (extend ? Move::leftExtending : Move::left);
    const auto stop = RenameWordStop::adjusted(move, before, standard, editor->text(), *paneRow->entry,
                                               model_->viewOptions());
    const Selection after = stop.value_or(standard);
    const bool cursorAtStart = stop ? !forward : scratch.cursorPosition() == standard.start;
    if (after.start == after.end) editor->setCursorPosition(after.end);
    else if (cursorAtStart) editor->setSelection(after.end, after.start - after.end);
    else editor->setSelection(after.start, after.end - after.start);
}

bool FilePaneTableView::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == renameEditor_) {
        if (event->type() == QEvent::KeyPress) {
            auto* key = static_cast<QKeyEvent*>(event);
            if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
                commitRename();
                return true;
            }
            if (key->key() == Qt::Key_Escape) {
                cancelRename();
                return true;
            }
            const bool arrow = key->key() == Qt::Key_Left || key->key() == Qt::Key_Right;
            if (arrow && (key->modifiers() & ~(Qt::ShiftModifier | Qt::KeypadModifier)) == Qt::AltModifier) {
                moveRenameCursorByWord(key->key() == Qt::Key_Right, key->modifiers() & Qt::ShiftModifier);
                return true;
            }
        } else if (event->type() == QEvent::FocusOut) {
            // Clicking elsewhere keeps what was typed, as desktop file managers do.
            // Another window or a popup taking the focus leaves the editor open:
            // a commit then could reopen the editor while the window is torn down.
            const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
            if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason) commitRename();
        }
    }
    return QTableView::eventFilter(watched, event);
}
