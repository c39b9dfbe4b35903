#include "Views/ImagePreviewView.h"

#include "Support/BackgroundTask.h"
#include "Support/PreviewFileReader.h"
#include "Support/TaskExecutor.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>

ImagePreviewView::ImagePreviewView(QWidget* parent)
    : QWidget(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    setObjectName(QStringLiteral("imagePreview"));
}

void ImagePreviewView::load(const QString& path)
{
    const quint64 generation = ++generation_;
    image_ = {};
    originalSize_ = {};
    fittedPixmap_ = {};
    error_.clear();
    loading_ = true;
    fitted_ = true;
    update();
    using Decoded = std::expected<PreviewFileReader::DecodedImage, QString>;
    BackgroundTask::run(
        TaskExecutor::previews().get(), this,
        [path](std::stop_token) -> Decoded {
            auto bytes = PreviewFileReader::readRegularFile(path);
            if (!bytes) return std::unexpected(bytes.error());
            return PreviewFileReader::decodeImage(*bytes, kMaximumSide);
        },
        [this, generation](Decoded decoded) {
            if (generation != generation_) return; // a newer file was asked for meanwhile
            loading_ = false;
            if (decoded) {
                image_ = std::move(decoded->image);
                originalSize_ = decoded->originalSize;
            }
            else error_ = decoded.error();
            update();
            emit loaded();
        });
}

void ImagePreviewView::clear()
{
    ++generation_;
    image_ = {};
    originalSize_ = {};
    fittedPixmap_ = {};
    error_.clear();
    loading_ = false;
    update();
}

double ImagePreviewView::fitScale() const
{
    if (image_.isNull()) return 1;
    const double fit = std::min(double(width()) / image_.width(), double(height()) / image_.height());
    return std::min(1.0, fit); // a small picture is not blown up
}

QRectF ImagePreviewView::imageRect() const
{
    const QSizeF size = QSizeF(image_.size()) * scale();
    if (fitted_) return QRectF(QPointF((width() - size.width()) / 2, (height() - size.height()) / 2), size);
    return QRectF(offset_, size);
}

void ImagePreviewView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Base));
    if (image_.isNull()) {
        painter.setPen(palette().color(QPalette::PlaceholderText));
        painter.drawText(rect(), Qt::AlignCenter | Qt::TextWordWrap,
                         loading_ ? QStringLiteral("Loading…") : error_);
        return;
    }
    const QRectF target = imageRect();
    if (fitted_) {
        if (fittedPixmap_.size() != target.size().toSize())
            fittedPixmap_ = QPixmap::fromImage(
                image_.scaled(target.size().toSize(), Qt::KeepAspectRatio, Qt::SmoothTransformation));
        painter.drawPixmap(target.topLeft(), fittedPixmap_);
        return;
    }
    // Only the part on screen is drawn, so a zoomed-in large picture stays quick.
    const QRectF visible = target.intersected(QRectF(rect()));
    const double s = scale();
    const QRectF source((visible.left() - target.left()) / s, (visible.top() - target.top()) / s, visible.width() / s,
                        visible.height() / s);
    painter.setRenderHint(QPainter::SmoothPixmapTransform, s < 1);
    painter.drawImage(visible, image_, source);
}

void ImagePreviewView::resizeEvent(QResizeEvent*)
{
    update();
}

void ImagePreviewView::zoomAbout(double factor, QPointF at)
{
    if (image_.isNull()) return;
    const QRectF before = imageRect();
    const double from = scale();
    const double to = std::clamp(from * factor, 0.02, 16.0);
    const QPointF imagePoint = (at - before.topLeft()) / from;
    fitted_ = false;
    zoom_ = to;
    offset_ = at - imagePoint * to;
    update();
}

void ImagePreviewView::wheelEvent(QWheelEvent* event)
{
    const double steps = event->angleDelta().y() / 120.0;
    if (steps != 0) zoomAbout(std::pow(1.15, steps), event->position());
    event->accept();
}

void ImagePreviewView::mousePressEvent(QMouseEvent* event)
{
    dragFrom_ = event->position();
    setFocus();
}

void ImagePreviewView::mouseMoveEvent(QMouseEvent* event)
{
    if (!(event->buttons() & Qt::LeftButton) || fitted_) return;
    offset_ += event->position() - dragFrom_;
    dragFrom_ = event->position();
    update();
}

void ImagePreviewView::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (fitted_) {
        zoomAbout(1.0 / fitScale(), event->position());
    } else {
        fitted_ = true;
        update();
    }
}

void ImagePreviewView::keyPressEvent(QKeyEvent* event)
{
    const QPointF centre(width() / 2.0, height() / 2.0);
    switch (event->key()) {
    case Qt::Key_Plus:
    case Qt::Key_Equal: zoomAbout(1.25, centre); break;
    case Qt::Key_Minus: zoomAbout(0.8, centre); break;
    case Qt::Key_0:
        fitted_ = true;
        update();
        break;
    default: QWidget::keyPressEvent(event);
    }
}
