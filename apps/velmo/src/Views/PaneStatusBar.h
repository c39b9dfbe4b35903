#pragma once

#include <QPointer>
#include <QWidget>

#include <optional>

class FilePaneStore;
class FilePaneTableModel;
class QLabel;
class VolumeSpaceService;

// The line under a pane's list: how many items the list shows, how many of them
// are selected and what their files weigh (label "status"), and the space left
// on the folder's volume (label "statusSpace", filled in when the background
// question answers). Nothing here walks the rows on a click: sizes are looked up
// per selected item, and the total of all files is kept per change of rows.
class PaneStatusBar : public QWidget {
public:
    PaneStatusBar(FilePaneStore* store, const FilePaneTableModel* rows, QWidget* parent = nullptr);

private:
    void updateCounts();
    void askForSpace();
    qint64 selectedFileBytes(bool* anyFile);

    QPointer<FilePaneStore> store_;
    const FilePaneTableModel* rows_;
    QLabel* counts_;
    QLabel* space_;
    VolumeSpaceService* spaceService_;
    // Bytes of every file on show, and whether there is any, once asked for.
    std::optional<std::pair<qint64, bool>> allFiles_;
};
