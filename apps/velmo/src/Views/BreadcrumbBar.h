#pragma once

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

private:
    void rebuild();

    QPointer<FilePaneStore> store_;
    QHBoxLayout* layout_;
};
