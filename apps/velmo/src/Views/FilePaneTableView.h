#pragma once

#include "Models/FileDropPolicy.h"
#include "Support/MonotonicClock.h"

#include <QPointer>
#include <QTableView>

class FilePaneTableModel;
#include <QLineEdit>

// The pane's table: rows drag out as files, folders and the space between rows
// take drops, and a row's name can be edited in place.
class FilePaneTableView : public QTableView {
    Q_OBJECT

public:
    explicit FilePaneTableView(QWidget* parent = nullptr);

    void setPaneModel(FilePaneTableModel* model);
    // Typing pauses are measured on this clock, so tests move time by hand.
    void setClock(std::shared_ptr<MonotonicClock> clock) { clock_ = std::move(clock); }
    // Selects the first row whose name starts with what was typed, whichever
    // column holds the focus; the typed text starts over after a pause.
    void keyboardSearch(const QString& text) override;
    // The folder the pane shows: drops between rows go there.
    void setFolderURL(const QString& url) { folderURL_ = url; }

    // Opens the name editor on the entry's row, with the stem selected, or with
    // `text` (a rejected name coming back) selected whole.
    void beginRename(const QString& entryID, const std::optional<QString>& text = std::nullopt);
    bool isRenaming() const { return renameEditor_ != nullptr; }
    QLineEdit* renameEditor() const { return renameEditor_; }
    void cancelRename();

signals:
    void dropRequested(const QStringList& paths, const QString& destinationURL, FileDropPolicy::Operation operation);
    void renameRequested(const QString& entryID, const QString& name);

protected:
    // Home and End go to the first and last row (not column), so Shift extends
    // the selection the usual way.
    QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
    void startDrag(Qt::DropActions supportedActions) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;

private:
    QString dropTarget(const QPoint& position, int* row) const;
    void acceptDrag(QDropEvent* event);
    void commitRename();
    void placeRenameEditor();
    void moveRenameCursorByWord(bool forward, bool extend);

    FilePaneTableModel* model_ = nullptr;
    std::shared_ptr<MonotonicClock> clock_ = MonotonicClock::system();
    QString typed_;
    quint64 lastKeyNanos_ = 0;
    QString folderURL_;
    int dropRow_ = -1;
    bool dropOnTable_ = false;
    QPointer<QLineEdit> renameEditor_;
    QString renameEntryID_;
};
