#pragma once

#include <QImage>
#include <QPixmap>
#include <QWidget>

class QLabel;

// A picture shown large: fitted to the view, or zoomed with the wheel (about the
// pointer) and panned by dragging; a double click goes between fit and 100 %, 0 fits.
// The file is read and decoded on a worker, at most 4096 pixels on its longer side;
// only the newest request's picture is ever shown.
class ImagePreviewView : public QWidget {
    Q_OBJECT

public:
    explicit ImagePreviewView(QWidget* parent = nullptr);
    void load(const QString& path);
    void clear();
    const QImage& image() const { return image_; }
    // The file's own size; `image` may be a shrunk copy.
    QSize originalSize() const { return originalSize_; }
    const QString& errorText() const { return error_; }
    bool isLoading() const { return loading_; }
    static constexpr int kMaximumSide = 4096;

signals:
    void loaded();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    double fitScale() const;
    double scale() const { return fitted_ ? fitScale() : zoom_; }
    QRectF imageRect() const;
    void zoomAbout(double factor, QPointF at);

    QImage image_;
    QSize originalSize_;
    QPixmap fittedPixmap_; // the picture at the fitted size, made once per size
    QString error_;
    bool loading_ = false;
    quint64 generation_ = 0;
    bool fitted_ = true;
    double zoom_ = 1;
    QPointF offset_; // the picture's top left in the view when zoomed
    QPointF dragFrom_;
};
