#include "MarkupKitUI/MarkupCanvas.h"

#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>

namespace {

constexpr double kMargin = 8;

Qt::CursorShape shape(MarkupCursor cursor)
{
    switch (cursor) {
    case MarkupCursor::arrow: return Qt::ArrowCursor;
    case MarkupCursor::crosshair: return Qt::CrossCursor;
    case MarkupCursor::iBeam: return Qt::IBeamCursor;
    case MarkupCursor::openHand: return Qt::OpenHandCursor;
    case MarkupCursor::closedHand: return Qt::ClosedHandCursor;
    case MarkupCursor::resizeDiagonal: return Qt::SizeFDiagCursor;
    case MarkupCursor::resizeAntiDiagonal: return Qt::SizeBDiagCursor;
    case MarkupCursor::addAnchor: return Qt::CrossCursor;
    }
    return Qt::ArrowCursor;
}

} // namespace

MarkupCanvas::MarkupCanvas(QWidget* parent)
    : QWidget(parent)
{
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    engine_.imageRectProvider = [this]() -> std::optional<QRectF> {
        const QRectF r = imageRect();
        return r.isEmpty() ? std::nullopt : std::optional(r);
    };
    engine_.imageProvider = [this] { return shownPicture(); };
    engine_.onChanged = [this] { emit annotationsChanged(); };
    engine_.onSelectionChanged = [this] { emit selectionChanged(); };
    engine_.requestRedraw = [this] { update(); };
    engine_.requestCursor = [this](MarkupCursor cursor) { setCursor(shape(cursor)); };
    engine_.requestCursorRefresh = [this] { engine_.updateCursor(mapFromGlobal(QCursor::pos())); };
    engine_.requestTextEditor = [this](QPointF at) { openTextEditor(at, QString()); };
    engine_.requestEditTextAnnotation = [this](std::size_t index, QRectF rect) {
        engine_.beginEditingText(index);
        openTextEditor(rect.topLeft(), engine_.annotations()[index].shape.text);
    };
    engine_.commitTextEditor = [this] { closeTextEditor(true); };
    engine_.dismissTextEditor = [this] { closeTextEditor(false); };
    engine_.isEditingText = [this] { return isEditingText(); };
}

void MarkupCanvas::setPicture(const QImage& picture, QSize fullSize)
{
    picture_ = picture.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    fullSize_ = fullSize.isEmpty() ? picture.size() : fullSize;
    scaled_ = {};
    engine_.reset();
    updateGeometryForZoom();
    update();
}

QSize MarkupCanvas::sizeHint() const { return {640, 480}; }

double MarkupCanvas::zoom() const
{
    if (!fitting_ || fullSize_.isEmpty()) return zoom_;
    return imageRect().width() / fullSize_.width();
}

QRectF MarkupCanvas::imageRect() const
{
    if (fullSize_.isEmpty()) return {};
    if (!fitting_) return {kMargin, kMargin, fullSize_.width() * zoom_, fullSize_.height() * zoom_};
    const QRectF area = QRectF(rect()).adjusted(kMargin, kMargin, -kMargin, -kMargin);
    if (area.isEmpty()) return {};
    const QSizeF size = QSizeF(fullSize_).scaled(area.size(), Qt::KeepAspectRatio);
    return {area.center().x() - size.width() / 2, area.center().y() - size.height() / 2, size.width(), size.height()};
}

void MarkupCanvas::zoomToFit()
{
    fitting_ = true;
    updateGeometryForZoom();
}

void MarkupCanvas::setZoom(double scale)
{
    fitting_ = false;
    zoom_ = std::clamp(scale, 0.05, 8.0);
    updateGeometryForZoom();
}

void MarkupCanvas::updateGeometryForZoom()
{
    if (fitting_) setMinimumSize(0, 0);
    else setMinimumSize(QSize(int(fullSize_.width() * zoom_ + 2 * kMargin), int(fullSize_.height() * zoom_ + 2 * kMargin)));
    if (!fitting_) resize(minimumSize());
    scaled_ = {};
    if (editor_) closeTextEditor(true);
    update();
}

// The picture at the size it is drawn, made once per size: a drag repaints from it.
// Shown larger than it is (100% of a big file), it is drawn as it is and scaled
// while painting, only where the window shows it.
const QImage* MarkupCanvas::shownPicture()
{
    const QSize size = imageRect().size().toSize();
    if (picture_.isNull() || size.isEmpty()) return nullptr;
    if (size.width() >= picture_.width() || size.height() >= picture_.height()) return &picture_;
    if (scaled_.size() != size) scaled_ = picture_.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return &scaled_;
}

void MarkupCanvas::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Window).darker(115));
    const QImage* shown = shownPicture();
    if (!shown) return;
    const QRectF r = imageRect();
    if (shown->size() == r.size().toSize()) painter.drawImage(r.topLeft(), *shown);
    else painter.drawImage(r, *shown);
    // Annotations are drawn in the image's rectangle; blur samples the drawn copy.
    engine_.draw(painter, shown);
}

void MarkupCanvas::resizeEvent(QResizeEvent*)
{
    if (fitting_ && editor_) closeTextEditor(true);
}

void MarkupCanvas::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) return;
    setFocus();
    engine_.beginInteraction(event->position(), event->modifiers());
    engine_.updateCursor(event->position(), event->modifiers());
}

void MarkupCanvas::mouseMoveEvent(QMouseEvent* event)
{
    if (event->buttons() & Qt::LeftButton) engine_.mouseDragged(event->position());
    engine_.updateCursor(event->position(), event->modifiers());
}

void MarkupCanvas::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) engine_.mouseUp(event->position());
}

void MarkupCanvas::mouseDoubleClickEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton) engine_.handleDoubleClick(event->position());
}

void MarkupCanvas::keyPressEvent(QKeyEvent* event)
{
    if (event->matches(QKeySequence::Undo)) engine_.undo();
    else if (event->matches(QKeySequence::Redo) || (event->key() == Qt::Key_Z && event->modifiers() == (Qt::ControlModifier | Qt::ShiftModifier)))
        engine_.redo();
    else if (event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace) engine_.deleteSelection();
    else if (event->key() == Qt::Key_Escape) engine_.select(std::nullopt);
    else return QWidget::keyPressEvent(event);
    event->accept();
}

void MarkupCanvas::openTextEditor(QPointF at, const QString& text)
{
    if (editor_) closeTextEditor(true);
    editorPoint_ = at;
    editor_ = new QLineEdit(text, this);
    QFont font = editor_->font();
    // The size the text will have on the canvas.
    font.setPixelSize(std::max(10, int(engine_.textFontSize())));
    font.setWeight(QFont::Medium);
    editor_->setFont(font);
    editor_->setFrame(true);
    editor_->setMinimumWidth(160);
    editor_->move(at.toPoint());
    editor_->adjustSize();
    connect(editor_, &QLineEdit::returnPressed, this, [this] { closeTextEditor(true); });
    editor_->installEventFilter(this);
    editor_->show();
    editor_->setFocus();
}

void MarkupCanvas::commitTextEditor() { closeTextEditor(true); }

void MarkupCanvas::closeTextEditor(bool commit)
{
    if (!editor_) return;
    QLineEdit* editor = std::exchange(editor_, nullptr);
    if (commit) engine_.commitText(editor->text(), editorPoint_);
    else engine_.cancelTextEditing();
    editor->deleteLater();
    setFocus();
    update();
}

bool MarkupCanvas::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == editor_ && event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        closeTextEditor(false);
        return true;
    }
    return QWidget::eventFilter(watched, event);
}
