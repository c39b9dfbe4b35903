#pragma once

#include "Models/FileDropPolicy.h"

#include <QPointer>
#include <QWidget>

class FilePaneStore;
class QHBoxLayout;

// The pane's path as a row of folder buttons. It shows the whole trail, so that
// after going up the deeper folders stay one click away; the current one is bold.
class BreadcrumbBar : public QWidget {
    Q_OBJECT

public:
    explicit BreadcrumbBar(FilePaneStore* store, QWidget* parent = nullptr);

signals:
    // Files dropped on a crumb: they go into that folder.
    void dropRequested(const QStringList& paths, const QString& destinationURL, FileDropPolicy::Operation operation);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    void rebuild();
    // The crumb under `position` and the operation a drop there means.
    QString crumbAt(const QPoint& position) const;
    void highlight(const QString& url);

    QPointer<FilePaneStore> store_;
    QHBoxLayout* layout_;
};
