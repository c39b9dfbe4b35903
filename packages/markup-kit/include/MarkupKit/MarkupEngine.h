#pragma once

#include "MarkupKit/MarkupModel.h"

#include <Qt>

#include <functional>
#include <optional>
#include <variant>
#include <vector>

class QPainter;
class QImage;

enum class MarkupCursor { arrow, crosshair, iBeam, openHand, closedHand, resizeDiagonal, resizeAntiDiagonal, addAnchor };

// One annotation session over an image, with no view of its own: pointer events in
// view coordinates and the image's rectangle in the view change the annotation list;
// the host is asked through callbacks to redraw, change the cursor and edit text.
// Main thread only.
class MarkupEngine {
public:
    struct Move { std::size_t index; };
    struct Resize { std::size_t index; MarkupHandle handle; };
    enum class LineEndpoint { start, end };
    struct ResizeLine { std::size_t index; LineEndpoint endpoint; };
    struct ResizeArrowAnchor { std::size_t index; std::size_t anchorIndex; };
    struct Drawing {};
    using InteractionMode = std::variant<std::monostate, Move, Resize, ResizeLine, ResizeArrowAnchor, Drawing>;

    static constexpr double minSize = 20;
    static constexpr double thinShapeMinSize = 1;
    static constexpr double handleHitRadius = 10;

    // Host callbacks; each may stay empty.
    std::function<std::optional<QRectF>()> imageRectProvider;
    std::function<const QImage*()> imageProvider; // the picture as shown, for blur
    std::function<void()> onChanged;
    std::function<void()> onSelectionChanged;
    std::function<void()> requestRedraw;
    std::function<void(MarkupCursor)> requestCursor;
    std::function<void()> requestCursorRefresh;
    std::function<void(QPointF)> requestTextEditor;
    std::function<void(std::size_t, QRectF)> requestEditTextAnnotation;
    std::function<void()> commitTextEditor;
    std::function<void()> dismissTextEditor;
    std::function<bool()> isEditingText;

    // Pointer, in view coordinates.
    void beginInteraction(QPointF point, Qt::KeyboardModifiers modifiers = {});
    void mouseDragged(QPointF point);
    void mouseUp(QPointF point);
    void handleDoubleClick(QPointF point);

    // History: one gesture is one undo step, however many drags it holds.
    void captureUndoState();
    void finalizeHistoryCapture();
    void undo();
    void redo();
    void clear();
    void reset();
    void resetDraft();
    bool canUndo() const { return !undoStack_.empty(); }
    bool canRedo() const { return !redoStack_.empty(); }

    // The text editor's result: a new text at `point`, or the edited one; empty removes it.
    void commitText(const QString& text, QPointF viewPoint);
    void cancelTextEditing() { editingAnnotationIndex_.reset(); }
    void beginEditingText(std::size_t index) { editingAnnotationIndex_ = index; }
    std::optional<std::size_t> editingAnnotationIndex() const { return editingAnnotationIndex_; }

    // Content.
    const std::vector<MarkupAnnotation>& annotations() const { return annotations_; }
    void appendAnnotation(const MarkupAnnotation& annotation);
    std::optional<std::size_t> selectedIndex() const { return selectedIndex_; }
    const MarkupAnnotation* selectedAnnotation() const;
    void select(std::optional<std::size_t> index);
    void deleteSelection();
    const InteractionMode& interactionMode() const { return interactionMode_; }

    MarkupTool tool() const { return tool_; }
    void setTool(MarkupTool tool);
    QColor strokeColor() const { return strokeColor_; }
    void setStrokeColor(const QColor& color) { strokeColor_ = color; }
    void setFillColor(const QColor& color) { fillColor_ = color; }
    double textFontSize() const { return textFontSize_; }
    void setTextFontSize(double size) { textFontSize_ = MarkupGeometry::clamp(size, 10, 80); }
    double arrowLineWidth() const { return arrowLineWidth_; }
    void updateSelectedAnnotationStrokeColor(const QColor& color);
    void updateSelectedArrowLineWidth(double width);
    void updateSelectedArrowHeadScale(double scale);
    void updateSelectedArrowHeadWidthScale(double scale);
    void updateSelectedArrowheadStyle(MarkupArrowheadStyle style);
    void applyToolDefaults(const MarkupToolDefaults& defaults);
    MarkupToolDefaults currentToolDefaults() const;
    std::optional<MarkupToolDefaults> adoptSelectedAnnotationDefaults();

    // Queries, in view coordinates.
    std::optional<std::size_t> annotationIndex(QPointF point, const QRectF& imageRect) const;
    static bool annotationContains(QPointF point, const MarkupAnnotation& annotation, const QRectF& imageRect);
    static QRectF selectionRect(const MarkupAnnotation& annotation, const QRectF& imageRect);
    std::optional<LineEndpoint> lineEndpointHandle(QPointF point, std::size_t index, const QRectF& imageRect) const;
    std::optional<std::size_t> arrowAnchorHandle(QPointF point, std::size_t index, const QRectF& imageRect) const;
    std::optional<std::size_t> arrowIndexForCurveEdit(QPointF point, const QRectF& imageRect) const;
    MarkupCursor cursor(QPointF point, Qt::KeyboardModifiers modifiers = {}) const;
    void updateCursor(QPointF point, Qt::KeyboardModifiers modifiers = {});

    // Annotations, the draft and the selection marks over the image shown in the
    // image rectangle; `shown` is that picture (for blur regions).
    void draw(QPainter& painter, const QImage* shown) const;

private:
    std::optional<QRectF> imageRect() const;
    void setSelection(std::optional<std::size_t> index);
    void beginDrawing(QPointF point, const QRectF& imageRect);
    void finalizeDrawing(QPointF point, const QRectF& imageRect);
    void changed() const { if (onChanged) onChanged(); }
    void redraw() const { if (requestRedraw) requestRedraw(); }
    void updateSelected(const std::function<void(MarkupAnnotation&)>& change);

    std::vector<MarkupAnnotation> annotations_;
    std::vector<std::vector<MarkupAnnotation>> undoStack_;
    std::vector<std::vector<MarkupAnnotation>> redoStack_;
    std::optional<std::size_t> selectedIndex_;
    InteractionMode interactionMode_;
    MarkupTool tool_ = MarkupTool::rectangle;
    QColor strokeColor_ = QColor(255, 59, 48);
    QColor fillColor_ = Qt::transparent;
    double textFontSize_ = 24;
    double arrowLineWidth_ = 4.5;
    double arrowHeadScale_ = 5;
    double arrowHeadWidthScale_ = 1;
    MarkupArrowheadStyle arrowheadStyle_ = MarkupArrowheadStyle::end;
    std::optional<QPointF> dragStartPoint_;
    std::optional<MarkupAnnotation> dragStartAnnotation_;
    std::optional<QRectF> draftRect_;
    std::vector<QPointF> draftPoints_;
    bool hasCapturedUndoState_ = false;
    std::optional<std::size_t> editingAnnotationIndex_;
};
