#include "MarkupKit/MarkupEngine.h"

#include "MarkupKit/MarkupRendering.h"

#include <QPainter>

#include <cmath>

using namespace MarkupGeometry;

namespace {

double side(const QRectF& r) { return std::max(1.0, std::min(r.width(), r.height())); }

double hitTolerance(const MarkupAnnotation& a, const QRectF& imageRect)
{
    return std::max(a.normalizedLineWidth * side(imageRect) / 2 + 4, 10.0);
}

std::vector<QPointF> denormalized(const std::vector<QPointF>& points, const QRectF& r)
{
    std::vector<QPointF> out;
    out.reserve(points.size());
    for (QPointF p : points) out.push_back(denormalizedPoint(p, r));
    return out;
}

bool isRectTool(MarkupTool tool)
{
    return tool == MarkupTool::rectangle || tool == MarkupTool::ellipse || tool == MarkupTool::blur;
}

QRectF translatedWithin(const QRectF& bounds, QPointF delta)
{
    // How far the bounds may move and stay inside 0..1.
    const double dx = clamp(delta.x(), -bounds.left(), 1 - bounds.right());
    const double dy = clamp(delta.y(), -bounds.top(), 1 - bounds.bottom());
    return QRectF(dx, dy, 0, 0);
}

MarkupShape translated(const MarkupShape& shape, QPointF d)
{
    MarkupShape s = shape;
    s.rect.translate(d);
    s.start += d;
    s.end += d;
    for (QPointF& p : s.anchors) p += d;
    for (QPointF& p : s.points) p += d;
    s.origin += d;
    return s;
}

} // namespace

std::optional<QRectF> MarkupEngine::imageRect() const
{
    return imageRectProvider ? imageRectProvider() : std::nullopt;
}

void MarkupEngine::setSelection(std::optional<std::size_t> index)
{
    if (index == selectedIndex_) return;
    selectedIndex_ = index;
    if (onSelectionChanged) onSelectionChanged();
}

void MarkupEngine::select(std::optional<std::size_t> index)
{
    setSelection(index && *index < annotations_.size() ? index : std::nullopt);
    redraw();
}

const MarkupAnnotation* MarkupEngine::selectedAnnotation() const
{
    return selectedIndex_ && *selectedIndex_ < annotations_.size() ? &annotations_[*selectedIndex_] : nullptr;
}

void MarkupEngine::captureUndoState()
{
    if (hasCapturedUndoState_) return;
    undoStack_.push_back(annotations_);
    redoStack_.clear();
    hasCapturedUndoState_ = true;
    changed();
}

void MarkupEngine::finalizeHistoryCapture()
{
    hasCapturedUndoState_ = false;
    changed();
}

void MarkupEngine::undo()
{
    if (undoStack_.empty()) return;
    redoStack_.push_back(std::move(annotations_));
    annotations_ = std::move(undoStack_.back());
    undoStack_.pop_back();
    if (selectedIndex_ && *selectedIndex_ >= annotations_.size())
        setSelection(annotations_.empty() ? std::nullopt : std::optional(annotations_.size() - 1));
    changed();
    redraw();
}

void MarkupEngine::redo()
{
    if (redoStack_.empty()) return;
    undoStack_.push_back(std::move(annotations_));
    annotations_ = std::move(redoStack_.back());
    redoStack_.pop_back();
    if (selectedIndex_ && *selectedIndex_ >= annotations_.size())
        setSelection(annotations_.empty() ? std::nullopt : std::optional(annotations_.size() - 1));
    changed();
    redraw();
}

void MarkupEngine::clear()
{
    if (annotations_.empty()) return;
    captureUndoState();
    annotations_.clear();
    setSelection(std::nullopt);
    interactionMode_ = {};
    resetDraft();
    hasCapturedUndoState_ = false;
    changed();
    redraw();
}

void MarkupEngine::reset()
{
    clear();
    undoStack_.clear();
    redoStack_.clear();
    changed();
}

void MarkupEngine::resetDraft()
{
    draftRect_.reset();
    draftPoints_.clear();
    dragStartPoint_.reset();
}

void MarkupEngine::appendAnnotation(const MarkupAnnotation& annotation)
{
    annotations_.push_back(annotation);
    setSelection(annotations_.size() - 1);
    changed();
    redraw();
}

void MarkupEngine::deleteSelection()
{
    if (!selectedAnnotation()) return;
    captureUndoState();
    annotations_.erase(annotations_.begin() + long(*selectedIndex_));
    setSelection(std::nullopt);
    finalizeHistoryCapture();
    redraw();
}

void MarkupEngine::beginInteraction(QPointF point, Qt::KeyboardModifiers modifiers)
{
    if (isEditingText && isEditingText()) {
        if (commitTextEditor) commitTextEditor();
        return;
    }
    const auto rect = imageRect();
    if (!rect || !rect->contains(point)) {
        select(std::nullopt);
        return;
    }
    if (modifiers & Qt::AltModifier) {
        if (const auto arrow = arrowIndexForCurveEdit(point, *rect)) {
            const std::size_t i = *arrow;
            if (const auto anchor = arrowAnchorHandle(point, i, *rect)) {
                setSelection(i);
                captureUndoState();
                auto anchors = annotations_[i].shape.anchors;
                anchors.erase(anchors.begin() + long(*anchor));
                annotations_[i].shape = annotations_[i].shape.withArrowAnchors(std::move(anchors));
                redraw();
                return;
            }
            const auto path = annotations_[i].shape.arrowPathPoints();
            const std::size_t before = insertionIndexOnArrowPath(normalizedPoint(point, *rect), path);
            setSelection(i);
            captureUndoState();
            auto anchors = annotations_[i].shape.anchors;
            anchors.insert(anchors.begin() + long(before - 1), normalizedPoint(point, *rect));
            annotations_[i].shape = annotations_[i].shape.withArrowAnchors(std::move(anchors));
            interactionMode_ = ResizeArrowAnchor {i, before - 1};
            redraw();
            return;
        }
    }
    if (const MarkupAnnotation* selected = selectedAnnotation()) {
        const std::size_t i = *selectedIndex_;
        if (const auto anchor = arrowAnchorHandle(point, i, *rect)) {
            captureUndoState();
            interactionMode_ = ResizeArrowAnchor {i, *anchor};
            return;
        }
        if (const auto endpoint = lineEndpointHandle(point, i, *rect)) {
            captureUndoState();
            interactionMode_ = ResizeLine {i, *endpoint};
            return;
        }
        if (selected->shape.isRect() || selected->shape.kind == MarkupShape::Kind::text) {
            if (const auto handle = handleAt(point, selectionRect(*selected, *rect), handleHitRadius)) {
                captureUndoState();
                dragStartAnnotation_ = *selected;
                interactionMode_ = Resize {i, *handle};
                return;
            }
        }
    }
    if (const auto hit = annotationIndex(point, *rect)) {
        setSelection(*hit);
        captureUndoState();
        dragStartPoint_ = point;
        dragStartAnnotation_ = annotations_[*hit];
        interactionMode_ = Move {*hit};
        redraw();
        return;
    }
    select(std::nullopt);
    beginDrawing(point, *rect);
}

void MarkupEngine::beginDrawing(QPointF point, const QRectF& rect)
{
    const QPointF clamped = clampPoint(point, rect);
    if (tool_ == MarkupTool::text) {
        dragStartPoint_ = clamped;
        interactionMode_ = Drawing {};
        return;
    }
    captureUndoState();
    dragStartPoint_ = clamped;
    if (isRectTool(tool_)) draftRect_ = QRectF(clamped, QSizeF(0, 0));
    else draftPoints_ = {clamped};
    interactionMode_ = Drawing {};
}

void MarkupEngine::mouseDragged(QPointF point)
{
    const auto rect = imageRect();
    if (!rect) return;
    const QPointF clamped = clampPoint(point, *rect);
    const auto valid = [this](std::size_t index) { return index < annotations_.size(); };
    if (std::holds_alternative<Drawing>(interactionMode_) && dragStartPoint_) {
        if (isRectTool(tool_)) draftRect_ = MarkupGeometry::rect(*dragStartPoint_, clamped);
        else if (tool_ == MarkupTool::arrow) draftPoints_ = {*dragStartPoint_, clamped};
        else if (tool_ == MarkupTool::pen && !draftPoints_.empty()) {
            const QPointF last = draftPoints_.back();
            if (std::hypot(clamped.x() - last.x(), clamped.y() - last.y()) > 1.5) draftPoints_.push_back(clamped);
        }
    } else if (const auto* move = std::get_if<Move>(&interactionMode_)) {
        if (!valid(move->index) || !dragStartPoint_ || !dragStartAnnotation_) return;
        const QPointF delta((point.x() - dragStartPoint_->x()) / rect->width(), (point.y() - dragStartPoint_->y()) / rect->height());
        const QRectF allowed = translatedWithin(dragStartAnnotation_->normalizedBounds(), delta);
        MarkupAnnotation moved = *dragStartAnnotation_;
        moved.shape = translated(moved.shape, allowed.topLeft());
        annotations_[move->index] = moved;
    } else if (const auto* resize = std::get_if<Resize>(&interactionMode_)) {
        if (!valid(resize->index) || !dragStartAnnotation_) return;
        MarkupAnnotation& a = annotations_[resize->index];
        const QRectF start = dragStartAnnotation_->normalizedBounds();
        const QPointF p = normalizedPoint(point, *rect);
        QRectF r = start;
        switch (resize->handle) {
        case MarkupHandle::topLeft: r.setTopLeft({std::min(p.x(), start.right()), std::min(p.y(), start.bottom())}); break;
        case MarkupHandle::topRight: r.setTopRight({std::max(p.x(), start.left()), std::min(p.y(), start.bottom())}); break;
        case MarkupHandle::bottomLeft: r.setBottomLeft({std::min(p.x(), start.right()), std::max(p.y(), start.top())}); break;
        case MarkupHandle::bottomRight: r.setBottomRight({std::max(p.x(), start.left()), std::max(p.y(), start.top())}); break;
        }
        if (a.shape.kind == MarkupShape::Kind::text) {
            const double scale = start.height() > 0 ? r.height() / start.height() : 1;
            a.shape.origin = r.topLeft();
            a.shape.fontSize = std::max(0.001, dragStartAnnotation_->shape.fontSize * scale);
        } else {
            a.shape.rect = r;
        }
    } else if (const auto* line = std::get_if<ResizeLine>(&interactionMode_)) {
        if (!valid(line->index)) return;
        MarkupShape& s = annotations_[line->index].shape;
        const QPointF p = normalizedPoint(clamped, *rect);
        s = line->endpoint == LineEndpoint::start ? s.withEndpoints(p, s.end) : s.withEndpoints(s.start, p);
    } else if (const auto* anchor = std::get_if<ResizeArrowAnchor>(&interactionMode_)) {
        if (!valid(anchor->index) || anchor->anchorIndex >= annotations_[anchor->index].shape.anchors.size()) return;
        MarkupShape& s = annotations_[anchor->index].shape;
        s = s.withArrowAnchor(normalizedPoint(clamped, *rect), anchor->anchorIndex + 1);
    }
    redraw();
}

void MarkupEngine::mouseUp(QPointF point)
{
    const auto rect = imageRect();
    if (std::holds_alternative<Drawing>(interactionMode_) && rect) finalizeDrawing(point, *rect);
    interactionMode_ = {};
    resetDraft();
    finalizeHistoryCapture();
    dragStartAnnotation_.reset();
    redraw();
    if (requestCursorRefresh) requestCursorRefresh();
}

void MarkupEngine::finalizeDrawing(QPointF point, const QRectF& rect)
{
    const double s = side(rect);
    MarkupAnnotation a;
    a.strokeColor = strokeColor_;
    a.fillColor = fillColor_;
    switch (tool_) {
    case MarkupTool::rectangle:
    case MarkupTool::ellipse: {
        if (!draftRect_ || (draftRect_->width() < thinShapeMinSize && draftRect_->height() < thinShapeMinSize)) return;
        const QRectF r = expandedToMinimumSize(*draftRect_, thinShapeMinSize, rect);
        a.shape = MarkupShape::rectShape(tool_ == MarkupTool::rectangle ? MarkupShape::Kind::rectangle : MarkupShape::Kind::ellipse,
                                         normalizedRect(r, rect));
        a.normalizedLineWidth = 3 / s;
        break;
    }
    case MarkupTool::blur:
        if (!draftRect_ || draftRect_->width() < 6 || draftRect_->height() < 6) return;
        a.shape = MarkupShape::rectShape(MarkupShape::Kind::blur, normalizedRect(*draftRect_, rect));
        break;
    case MarkupTool::arrow: {
        if (draftPoints_.size() < 2) return;
        const QPointF start = normalizedPoint(draftPoints_[0], rect), end = normalizedPoint(draftPoints_[1], rect);
        if (std::hypot(end.x() - start.x(), end.y() - start.y()) < 0.002) return;
        a.shape = MarkupShape::arrow(start, end);
        a.normalizedLineWidth = arrowLineWidth_ / s;
        a.arrowHeadScale = arrowHeadScale_;
        a.arrowHeadWidthScale = arrowHeadWidthScale_;
        a.arrowheadStyle = arrowheadStyle_;
        break;
    }
    case MarkupTool::pen: {
        const QPointF last = clampPoint(point, rect);
        if (!draftPoints_.empty() && std::hypot(last.x() - draftPoints_.back().x(), last.y() - draftPoints_.back().y()) > 1.5)
            draftPoints_.push_back(last);
        if (draftPoints_.size() < 2) return;
        std::vector<QPointF> points;
        for (QPointF p : draftPoints_) points.push_back(normalizedPoint(p, rect));
        a.shape = MarkupShape::pen(std::move(points));
        a.normalizedLineWidth = 3 / s;
        break;
    }
    case MarkupTool::text:
        editingAnnotationIndex_.reset();
        if (requestTextEditor && dragStartPoint_) requestTextEditor(*dragStartPoint_);
        return;
    }
    annotations_.push_back(a);
    setSelection(annotations_.size() - 1);
}

void MarkupEngine::handleDoubleClick(QPointF point)
{
    const auto rect = imageRect();
    if (!rect) return;
    if (const auto i = annotationIndex(point, *rect); i && annotations_[*i].shape.kind == MarkupShape::Kind::text) {
        editingAnnotationIndex_ = *i;
        if (requestEditTextAnnotation) requestEditTextAnnotation(*i, selectionRect(annotations_[*i], *rect));
    }
}

void MarkupEngine::commitText(const QString& text, QPointF viewPoint)
{
    const auto rect = imageRect();
    const auto editing = editingAnnotationIndex_;
    editingAnnotationIndex_.reset();
    if (!rect) return;
    captureUndoState();
    if (editing && *editing < annotations_.size()) {
        if (text.isEmpty()) {
            annotations_.erase(annotations_.begin() + long(*editing));
            setSelection(std::nullopt);
        } else {
            annotations_[*editing].shape.text = text;
        }
    } else if (!text.isEmpty()) {
        MarkupAnnotation a;
        a.shape = MarkupShape::textShape(normalizedPoint(viewPoint, *rect), text, textFontSize_ / side(*rect));
        a.strokeColor = strokeColor_;
        a.fillColor = fillColor_;
        annotations_.push_back(a);
        setSelection(annotations_.size() - 1);
    }
    finalizeHistoryCapture();
    redraw();
}

void MarkupEngine::setTool(MarkupTool tool)
{
    tool_ = tool;
    if (requestCursorRefresh) requestCursorRefresh();
}

void MarkupEngine::updateSelected(const std::function<void(MarkupAnnotation&)>& change)
{
    if (!selectedAnnotation()) return;
    captureUndoState();
    change(annotations_[*selectedIndex_]);
    finalizeHistoryCapture();
    redraw();
}

void MarkupEngine::updateSelectedAnnotationStrokeColor(const QColor& color)
{
    updateSelected([&](MarkupAnnotation& a) { a.strokeColor = color; });
}

void MarkupEngine::updateSelectedArrowLineWidth(double width)
{
    const auto rect = imageRect();
    if (!rect || !selectedAnnotation() || !selectedAnnotation()->shape.isArrow()) return;
    updateSelected([&](MarkupAnnotation& a) { a.normalizedLineWidth = width / side(*rect); });
}

void MarkupEngine::updateSelectedArrowHeadScale(double scale)
{
    if (selectedAnnotation() && selectedAnnotation()->shape.isArrow()) updateSelected([&](MarkupAnnotation& a) { a.arrowHeadScale = scale; });
}

void MarkupEngine::updateSelectedArrowHeadWidthScale(double scale)
{
    if (selectedAnnotation() && selectedAnnotation()->shape.isArrow())
        updateSelected([&](MarkupAnnotation& a) { a.arrowHeadWidthScale = scale; });
}

void MarkupEngine::updateSelectedArrowheadStyle(MarkupArrowheadStyle style)
{
    if (selectedAnnotation() && selectedAnnotation()->shape.isArrow()) updateSelected([&](MarkupAnnotation& a) { a.arrowheadStyle = style; });
}

void MarkupEngine::applyToolDefaults(const MarkupToolDefaults& d)
{
    tool_ = d.tool;
    strokeColor_ = d.strokeColor.toRgb();
    fillColor_ = d.fillColor.toRgb();
    textFontSize_ = d.textFontSize;
    arrowLineWidth_ = d.arrowLineWidth;
    arrowHeadScale_ = d.arrowHeadScale;
    arrowHeadWidthScale_ = d.arrowHeadWidthScale;
    arrowheadStyle_ = d.arrowheadStyle;
}

MarkupToolDefaults MarkupEngine::currentToolDefaults() const
{
    return {tool_, strokeColor_, fillColor_, textFontSize_, arrowLineWidth_, arrowHeadScale_, arrowHeadWidthScale_, arrowheadStyle_};
}

std::optional<MarkupToolDefaults> MarkupEngine::adoptSelectedAnnotationDefaults()
{
    const MarkupAnnotation* a = selectedAnnotation();
    if (!a) return std::nullopt;
    strokeColor_ = a->strokeColor;
    if (a->shape.isArrow()) {
        if (const auto rect = imageRect()) arrowLineWidth_ = clamp(a->normalizedLineWidth * side(*rect), 1, 8);
        arrowHeadScale_ = a->arrowHeadScale;
        arrowHeadWidthScale_ = a->arrowHeadWidthScale;
        arrowheadStyle_ = a->arrowheadStyle;
    }
    return currentToolDefaults();
}

std::optional<std::size_t> MarkupEngine::annotationIndex(QPointF point, const QRectF& imageRect) const
{
    for (std::size_t i = annotations_.size(); i-- > 0;)
        if (annotationContains(point, annotations_[i], imageRect)) return i;
    return std::nullopt;
}

bool MarkupEngine::annotationContains(QPointF point, const MarkupAnnotation& a, const QRectF& r)
{
    switch (a.shape.kind) {
    case MarkupShape::Kind::rectangle:
    case MarkupShape::Kind::blur: return denormalizedRect(a.shape.rect, r).adjusted(-10, -10, 10, 10).contains(point);
    case MarkupShape::Kind::ellipse: {
        const QRectF e = denormalizedRect(a.shape.rect, r).adjusted(-10, -10, 10, 10);
        const double hx = std::max(1.0, e.width() / 2), hy = std::max(1.0, e.height() / 2);
        const double x = (point.x() - e.center().x()) / hx, y = (point.y() - e.center().y()) / hy;
        return x * x + y * y <= 1.15;
    }
    case MarkupShape::Kind::text: return denormalizedRect(a.normalizedBounds(), r).adjusted(-6, -6, 6, 6).contains(point);
    case MarkupShape::Kind::pen: return distanceFromPointToPath(point, denormalized(a.shape.points, r)) <= hitTolerance(a, r);
    case MarkupShape::Kind::arrow:
    case MarkupShape::Kind::curvedArrow:
        return distanceFromPointToPath(point, sampledArrowPathPoints(denormalized(a.shape.arrowPathPoints(), r))) <= hitTolerance(a, r);
    }
    return false;
}

QRectF MarkupEngine::selectionRect(const MarkupAnnotation& a, const QRectF& r)
{
    QRectF s = denormalizedRect(a.normalizedBounds(), r);
    if (s.width() < 8) s.adjust(-4, 0, 4, 0);
    if (s.height() < 8) s.adjust(0, -4, 0, 4);
    return s;
}

std::optional<MarkupEngine::LineEndpoint> MarkupEngine::lineEndpointHandle(QPointF point, std::size_t index,
                                                                            const QRectF& r) const
{
    if (index >= annotations_.size() || !annotations_[index].shape.isArrow()) return std::nullopt;
    const auto near = [&](QPointF p) {
        const QPointF d = denormalizedPoint(p, r);
        return std::abs(point.x() - d.x()) <= 10 && std::abs(point.y() - d.y()) <= 10;
    };
    if (near(annotations_[index].shape.start)) return LineEndpoint::start;
    if (near(annotations_[index].shape.end)) return LineEndpoint::end;
    return std::nullopt;
}

std::optional<std::size_t> MarkupEngine::arrowAnchorHandle(QPointF point, std::size_t index, const QRectF& r) const
{
    if (index >= annotations_.size() || !annotations_[index].shape.isArrow()) return std::nullopt;
    const auto& anchors = annotations_[index].shape.anchors;
    for (std::size_t i = 0; i < anchors.size(); ++i) {
        const QPointF d = denormalizedPoint(anchors[i], r);
        if (std::abs(point.x() - d.x()) <= 10 && std::abs(point.y() - d.y()) <= 10) return i;
    }
    return std::nullopt;
}

std::optional<std::size_t> MarkupEngine::arrowIndexForCurveEdit(QPointF point, const QRectF& r) const
{
    if (const MarkupAnnotation* s = selectedAnnotation(); s && s->shape.isArrow() && annotationContains(point, *s, r))
        return selectedIndex_;
    for (std::size_t i = annotations_.size(); i-- > 0;)
        if (annotations_[i].shape.isArrow() && annotationContains(point, annotations_[i], r)) return i;
    return std::nullopt;
}

MarkupCursor MarkupEngine::cursor(QPointF point, Qt::KeyboardModifiers modifiers) const
{
    if (std::holds_alternative<Move>(interactionMode_)) return MarkupCursor::closedHand;
    if (const auto* resize = std::get_if<Resize>(&interactionMode_))
        return resize->handle == MarkupHandle::topLeft || resize->handle == MarkupHandle::bottomRight
            ? MarkupCursor::resizeDiagonal : MarkupCursor::resizeAntiDiagonal;
    if (!std::holds_alternative<std::monostate>(interactionMode_)) return MarkupCursor::crosshair;
    const auto rect = imageRect();
    if (!rect) return MarkupCursor::arrow;
    if (const MarkupAnnotation* s = selectedAnnotation()) {
        if (arrowAnchorHandle(point, *selectedIndex_, *rect) || lineEndpointHandle(point, *selectedIndex_, *rect))
            return MarkupCursor::crosshair;
        if (s->shape.isRect() || s->shape.kind == MarkupShape::Kind::text)
            if (const auto h = handleAt(point, selectionRect(*s, *rect), handleHitRadius))
                return *h == MarkupHandle::topLeft || *h == MarkupHandle::bottomRight ? MarkupCursor::resizeDiagonal
                                                                                     : MarkupCursor::resizeAntiDiagonal;
    }
    if ((modifiers & Qt::AltModifier) && arrowIndexForCurveEdit(point, *rect)) return MarkupCursor::addAnchor;
    if (annotationIndex(point, *rect)) return MarkupCursor::openHand;
    if (rect->contains(point)) return tool_ == MarkupTool::text ? MarkupCursor::iBeam : MarkupCursor::crosshair;
    return MarkupCursor::arrow;
}

void MarkupEngine::updateCursor(QPointF point, Qt::KeyboardModifiers modifiers)
{
    if (requestCursor) requestCursor(cursor(point, modifiers));
}

void MarkupEngine::draw(QPainter& painter, const QImage* shown) const
{
    const auto rect = imageRect();
    if (!rect) return;
    for (const MarkupAnnotation& a : annotations_) MarkupAnnotationRenderer::draw(painter, a, *rect, shown);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    // The draft, dashed.
    QPen dashed(strokeColor_, 2, Qt::DashLine);
    if (draftRect_) {
        painter.setPen(dashed);
        painter.setBrush(Qt::NoBrush);
        if (tool_ == MarkupTool::ellipse) painter.drawEllipse(*draftRect_);
        else painter.drawRect(*draftRect_);
    }
    if (tool_ == MarkupTool::arrow && draftPoints_.size() == 2)
        MarkupArrowRenderer::draw(painter, draftPoints_[0], draftPoints_[1], {}, arrowLineWidth_, arrowHeadScale_,
                                  arrowHeadWidthScale_, arrowheadStyle_, strokeColor_, true);
    if (tool_ == MarkupTool::pen && draftPoints_.size() > 1) {
        painter.setPen(QPen(strokeColor_, 3, Qt::DashLine, Qt::RoundCap, Qt::RoundJoin));
        painter.drawPolyline(draftPoints_.data(), int(draftPoints_.size()));
    }
    // Selection marks.
    if (const MarkupAnnotation* s = selectedAnnotation()) {
        std::vector<QPointF> handles;
        if (s->shape.isArrow()) handles = denormalized(s->shape.arrowPathPoints(), *rect);
        else {
            const QRectF sr = selectionRect(*s, *rect);
            handles = {sr.topLeft(), sr.topRight(), sr.bottomLeft(), sr.bottomRight()};
            painter.setPen(QPen(QColor(0, 122, 255), 1, Qt::DashLine));
            painter.setBrush(Qt::NoBrush);
            painter.drawRect(sr);
        }
        painter.setPen(QPen(QColor(0, 122, 255), 1.5));
        painter.setBrush(Qt::white);
        for (QPointF h : handles) painter.drawEllipse(h, 5, 5);
    }
    painter.restore();
}
