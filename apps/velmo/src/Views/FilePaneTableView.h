#pragma once

#include "Models/FileDropPolicy.h"

#include <QPointer>
#include <QTableView>

class FilePaneTableModel;
class QLineEdit;

// The pane's table: rows drag out as files, folders and the space between rows
// take drops, and a row's name can be edited in place.
class FilePaneTableView : public QTableView {
    Q_OBJECT

public:
    explicit FilePaneTableView(QWidget* parent = nullptr);

    void setPaneModel(FilePaneTableModel* model);
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

    FilePaneTableModel* model_ = nullptr;
    QString folderURL_;
    int dropRow_ = -1;
    bool dropOnTable_ = false;
    QPointer<QLineEdit> renameEditor_;
    QString renameEntryID_;
};
