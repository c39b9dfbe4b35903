#pragma once

#include "MarkupKit/MarkupModel.h"

#include <QFutureWatcher>
#include <QWidget>

#include <memory>
#include <optional>

class MarkupCanvas;
class QAbstractButton;
class QButtonGroup;
class QComboBox;
class QDoubleSpinBox;
class QScrollArea;
class QToolButton;

// The canvas with its toolbar: tools, colour, arrow width and heads, text size, zoom
// to fit and 100%, undo and redo. Delete removes the selection, Ctrl+Z and
// Ctrl+Shift+Z undo and redo, Escape deselects. `saveCopy` writes
// "<name>_markup.<ext>" beside the file on a worker thread and reports the path.
class MarkupEditor : public QWidget {
    Q_OBJECT

public:
    // `defaults` keeps the tool settings between sessions; null keeps them in memory.
    explicit MarkupEditor(std::shared_ptr<MarkupToolDefaultsStore> defaults = nullptr, QWidget* parent = nullptr);
    ~MarkupEditor() override;

    // The file, and the picture already decoded for it (shown as it is; shrunk is fine).
    void open(const QString& path, const QImage& picture, QSize fullSize);
    QString path() const { return path_; }
    MarkupCanvas* canvas() const { return canvas_; }
    bool hasAnnotations() const;
    bool isSaving() const;

public slots:
    void saveCopy();

signals:
    // The copy written, or an empty path when nothing could be saved.
    void saveFinished(const QString& path);

private:
    void syncControls();
    void rememberDefaults();

    std::shared_ptr<MarkupToolDefaultsStore> defaults_;
    QString path_;
    MarkupCanvas* canvas_ = nullptr;
    QScrollArea* scroll_ = nullptr;
    QButtonGroup* tools_ = nullptr;
    QToolButton* color_ = nullptr;
    QDoubleSpinBox* lineWidth_ = nullptr;
    QComboBox* heads_ = nullptr;
    QDoubleSpinBox* fontSize_ = nullptr;
    QToolButton* undo_ = nullptr;
    QToolButton* redo_ = nullptr;
    QFutureWatcher<std::optional<QString>>* saving_ = nullptr;
};
