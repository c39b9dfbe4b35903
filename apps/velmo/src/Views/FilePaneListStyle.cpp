#include "Views/FilePaneListStyle.h"

#include "Models/FilePaneNameDateStyler.h"
#include "State/VelmoStore.h"
#include "Views/FilePaneTableModel.h"

#include <QApplication>
#include <QEvent>
#include <QFontDatabase>
#include <QHeaderView>
#include <QMouseEvent>
#include <QPainter>
#include <QTableView>

#include <algorithm>
#include <utility>

FilePaneListStyle* FilePaneListStyle::follow(VelmoStore* app, FilePaneTableModel* model, QTableView* table)
{
    if (app) {
        model->setViewOptions(app->viewOptions());
        connect(app, &VelmoStore::viewOptionsChanged, model, [app, model] { model->setViewOptions(app->viewOptions()); });
    }
    return new FilePaneListStyle(model, table);
}

FilePaneListStyle::FilePaneListStyle(FilePaneTableModel* model, QTableView* table)
    : QStyledItemDelegate(table), model_(model), table_(table)
{
    table->setItemDelegate(this);
    table->viewport()->installEventFilter(this);
    connect(model, &FilePaneTableModel::viewOptionsChanged, this, &FilePaneListStyle::applyToTable);
    applyToTable();
}

void FilePaneListStyle::applyToTable()
{
    if (!model_ || !table_) return;
    const VelmoViewOptions& options = model_->viewOptions();
    const QFont font = FilePaneTableModel::listFont(options);
    table_->setFont(font);
    table_->horizontalHeader()->setFont(QApplication::font());
    const int icon = int(options.iconSize);
    table_->setIconSize(QSize(icon, icon));
    table_->setAlternatingRowColors(options.alternateRowColors);
    // Grid lines are drawn per cell below, so either direction can be on alone.
    table_->setShowGrid(false);
    const int height = std::max(icon, QFontMetrics(font).height()) + 4 + int(options.rowSpacing);
    table_->verticalHeader()->setMinimumSectionSize(1);
    table_->verticalHeader()->setDefaultSectionSize(height);
    table_->setMouseTracking(options.showHoverHighlight);
    if (!options.showHoverHighlight) setHoveredRow(-1);
    table_->viewport()->update();
}

// ---------------------------------------------------------------- hover

bool FilePaneListStyle::eventFilter(QObject* watched, QEvent* event)
{
    // The type first: the viewport also reports events while the table is being
    // destroyed, when the table must not be touched.
    const bool move = event->type() == QEvent::MouseMove;
    if (!move && event->type() != QEvent::Leave) return QStyledItemDelegate::eventFilter(watched, event);
    if (table_ && watched == table_->viewport() && model_ && model_->viewOptions().showHoverHighlight)
        setHoveredRow(move ? table_->rowAt(static_cast<QMouseEvent*>(event)->position().toPoint().y()) : -1);
    return QStyledItemDelegate::eventFilter(watched, event);
}

void FilePaneListStyle::setHoveredRow(int row)
{
    if (row == hoveredRow_) return;
    const int old = std::exchange(hoveredRow_, row);
    updateRow(old);
    updateRow(row);
}

void FilePaneListStyle::updateRow(int row)
{
    if (row < 0 || !table_) return;
    table_->viewport()->update(QRect(0, table_->rowViewportPosition(row), table_->viewport()->width(),
                                     table_->rowHeight(row)));
}

// ---------------------------------------------------------------- painting

void FilePaneListStyle::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    if (!model_) return QStyledItemDelegate::paint(painter, option, index);
    const VelmoViewOptions& options = model_->viewOptions();
    QStyleOptionViewItem item = option;
    initStyleOption(&item, index);
    // The whole row lights up below; the style's own per-cell hover would not.
    item.state &= ~QStyle::State_MouseOver;

    const bool isName = model_->sortColumnOfSection(index.column()) == FileEntrySortColumn::name;
    if (isName) paintDisclosure(painter, item, index);
    const QRect cell = item.rect;
    if (isName) item.rect.setLeft(disclosureRect(cell, index.data(FilePaneTableModel::DepthRole).toInt()).right() + 1);
    const bool monoDate = options.showLeadingDatesAsMonospaced && isName
        && FilePaneNameDateStyler::leadingDateRange(item.text).has_value();
    if (options.shadowed || monoDate) paintText(painter, item, index);
    else QStyledItemDelegate::paint(painter, item, index);

    item.rect = cell;
    painter->save();
    if (options.showHoverHighlight && index.row() == hoveredRow_ && !(item.state & QStyle::State_Selected)) {
        QColor wash = item.palette.color(QPalette::Highlight);
        wash.setAlpha(36);
        painter->fillRect(item.rect, wash);
    }
    painter->setPen(item.palette.color(QPalette::Midlight));
    if (options.showVerticalGrid) painter->drawLine(item.rect.topRight(), item.rect.bottomRight());
    if (options.showHorizontalGrid) painter->drawLine(item.rect.bottomLeft(), item.rect.bottomRight());
    painter->restore();
}

QRect FilePaneListStyle::disclosureRect(const QRect& cell, int depth)
{
    return QRect(cell.left() + depth * kDisclosureWidth, cell.top(), kDisclosureWidth, cell.height());
}

// The indent's background like the rest of the row, and the row's triangle.
void FilePaneListStyle::paintDisclosure(QPainter* painter, const QStyleOptionViewItem& item,
                                        const QModelIndex& index) const
{
    const QWidget* widget = item.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    QStyleOptionViewItem background = item;
    background.text.clear();
    background.icon = {};
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &background, painter, widget);

    const auto disclosure = FilePaneTableModel::Disclosure(index.data(FilePaneTableModel::DisclosureRole).toInt());
    if (disclosure == FilePaneTableModel::Disclosure::none) return;
    const QRectF box = disclosureRect(item.rect, index.data(FilePaneTableModel::DepthRole).toInt());
    const QPointF c = box.center();
    const qreal h = 3.5;
    QPolygonF triangle;
    if (disclosure == FilePaneTableModel::Disclosure::open)
        triangle << QPointF(c.x() - h, c.y() - h * 0.6) << QPointF(c.x() + h, c.y() - h * 0.6)
                 << QPointF(c.x(), c.y() + h * 0.8);
    else
        triangle << QPointF(c.x() - h * 0.6, c.y() - h) << QPointF(c.x() - h * 0.6, c.y() + h)
                 << QPointF(c.x() + h * 0.8, c.y());
    const bool selected = item.state & QStyle::State_Selected;
    QColor color = item.palette.color(selected ? QPalette::HighlightedText : QPalette::Text);
    color.setAlphaF(selected ? 0.9 : 0.6);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(color);
    painter->drawPolygon(triangle);
    painter->restore();
}

// The cell without its text, then the text by hand: the leading date in the
// fixed-width font, the rest in the cell's font, each under its shadow.
void FilePaneListStyle::paintText(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex&) const
{
    const QWidget* widget = option.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    const QString text = option.text;
    QRect textRect = style->subElementRect(QStyle::SE_ItemViewItemText, &option, widget);
    const int margin = style->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, widget) + 1;
    textRect.adjust(margin, 0, -margin, 0);

    QStyleOptionViewItem bare = option;
    bare.text.clear();
    style->drawControl(QStyle::CE_ItemViewItem, &bare, painter, widget);

    QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    mono.setPointSizeF(option.font.pointSizeF());
    mono.setBold(option.font.bold());
    mono.setItalic(option.font.italic());
    const auto range = model_->viewOptions().showLeadingDatesAsMonospaced
        ? FilePaneNameDateStyler::leadingDateRange(text) : std::nullopt;
    struct Run {
        QString text;
        QFont font;
    };
    std::vector<Run> runs;
    if (range) {
        runs.push_back({text.left(range->first + range->second), mono});
        runs.push_back({text.mid(range->first + range->second), option.font});
    } else {
        runs.push_back({text, option.font});
    }

    const bool selected = option.state & QStyle::State_Selected;
    const QPalette::ColorGroup group = option.state & QStyle::State_Enabled ? QPalette::Normal : QPalette::Disabled;
    const QColor color = option.palette.color(group, selected ? QPalette::HighlightedText : QPalette::Text);
    const bool shadowed = model_->viewOptions().shadowed;
    const Qt::Alignment alignment = option.displayAlignment;
    int x = textRect.left();
    int room = textRect.width();
    // Right-aligned cells (sizes) hold one run: start where it ends flush right.
    if (runs.size() == 1 && (alignment & Qt::AlignRight))
        x = textRect.right() + 1 - std::min(room, QFontMetrics(runs[0].font).horizontalAdvance(runs[0].text));
    painter->save();
    painter->setClipRect(option.rect);
    for (const Run& run : runs) {
        if (room <= 0 || run.text.isEmpty()) continue;
        const QFontMetrics metrics(run.font);
        const QString shown = metrics.elidedText(run.text, option.textElideMode, room);
        const QRect box(x, textRect.top(), room, textRect.height());
        painter->setFont(run.font);
        if (shadowed) {
            painter->setPen(QColor(0, 0, 0, selected ? 90 : 60));
            painter->drawText(box.translated(1, 1), Qt::AlignLeft | Qt::AlignVCenter, shown);
        }
        painter->setPen(color);
        painter->drawText(box, Qt::AlignLeft | Qt::AlignVCenter, shown);
        const int advance = metrics.horizontalAdvance(shown);
        x += advance;
        room -= advance;
    }
    painter->restore();
}
