#pragma once

#include "MarkupKit/MarkupEngine.h"

#include <QImage>
#include <QPixmap>
#include <QWidget>

class QLineEdit;

// The picture with its annotations, driven by a MarkupEngine. The picture may be a
// shrunk copy of the file: annotations are normalised, so they land on the same
// place of the full-size image. It is scaled once per size and drawn from that
// copy, so a drag repaints only the annotations over it.
class MarkupCanvas : public QWidget {
    Q_OBJECT

public:
    explicit MarkupCanvas(QWidget* parent = nullptr);

    // `picture` as shown; `fullSize` the file's own pixel size (for 100%).
    void setPicture(const QImage& picture, QSize fullSize);
    MarkupEngine& engine() { return engine_; }
    const MarkupEngine& engine() const { return engine_; }

    // Fit the window (the default) or a fixed scale of the full-size image.
    void zoomToFit();
    void setZoom(double scale);
    bool isFitting() const { return fitting_; }
    double zoom() const;
    QRectF imageRect() const;
    bool isEditingText() const { return editor_ != nullptr; }
    void commitTextEditor();

    QSize sizeHint() const override;

signals:
    void annotationsChanged();
    void selectionChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void openTextEditor(QPointF at, const QString& text);
    void closeTextEditor(bool commit);
    void updateGeometryForZoom();
    const QImage* shownPicture();

    MarkupEngine engine_;
    QImage picture_;
    QSize fullSize_;
    QImage scaled_; // the picture at the size it is drawn
    bool fitting_ = true;
    double zoom_ = 1;
    QLineEdit* editor_ = nullptr;
    QPointF editorPoint_;
};
