#pragma once

#include <QElapsedTimer>
#include <QHash>
#include <QPointer>
#include <QWidget>

class QLabel;
class QProgressBar;
class QPushButton;
class QVBoxLayout;
class VelmoStore;

// Under the panes: one line per running operation, with its title, detail,
// progress and a Cancel button. Hidden while nothing runs. A folder that
// loads shows only once it has taken a second.
class ActivityStrip : public QWidget {
    Q_OBJECT

public:
    explicit ActivityStrip(VelmoStore* store, QWidget* parent = nullptr);

private:
    struct Line {
        QWidget* widget;
        QLabel* title;
        QLabel* detail;
        QProgressBar* progress;
        QPushButton* cancel;
    };
    void update();
    Line makeLine(const QString& id);

    QPointer<VelmoStore> store_;
    QVBoxLayout* layout_;
    QHash<QString, Line> lines_;
    QHash<QString, QElapsedTimer> loadingSince_;
};
