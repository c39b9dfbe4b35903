#include "Models/FolderViewState.h"

#include <QJsonArray>

#include <cmath>

namespace {

const QString kSortColumn = QStringLiteral("sortColumn");
const QString kSortAscending = QStringLiteral("sortAscending");
const QString kViewMode = QStringLiteral("viewMode");
const QString kVisibleColumns = QStringLiteral("visibleColumns");
const QString kColumnOrder = QStringLiteral("columnOrder");
const QString kColumnWidths = QStringLiteral("columnWidths");

std::optional<VelmoFileViewMode> decodedViewMode(const QJsonValue& value)
{
    const QString text = value.toString();
    if (text == u"list") return VelmoFileViewMode::list;
    // Sessions spell it in the plural; both mean the grid.
    if (text == u"thumbnail" || text == u"thumbnails") return VelmoFileViewMode::thumbnails;
    return std::nullopt;
}

} // namespace

FolderViewState FolderViewState::fallback()
{
    FolderViewState state;
    state.visibleColumns = {FileEntryColumn::modified, FileEntryColumn::size, FileEntryColumn::contents};
    return state;
}

QJsonObject FolderViewState::toJSON() const
{
    QJsonArray columns;
    // In a fixed order, so that equal states are stored as equal bytes.
    for (FileEntryColumn column : FileEntryColumns::allColumns)
        if (visibleColumns.contains(column)) columns.append(FileEntryColumns::id(column));
    QJsonObject widths;
    for (auto it = columnWidths.begin(); it != columnWidths.end(); ++it) widths.insert(it.key(), it.value());
    return {{kSortColumn, FileEntryColumns::id(sortColumn)},
            {kSortAscending, sortAscending},
            {kViewMode, viewMode == VelmoFileViewMode::list ? QStringLiteral("list") : QStringLiteral("thumbnail")},
            {kVisibleColumns, columns},
            {kColumnOrder, QJsonArray::fromStringList(columnOrder)},
            {kColumnWidths, widths}};
}

FolderViewState FolderViewState::fromJSON(const QJsonValue& value)
{
    FolderViewState state = fallback();
    const QJsonObject object = value.toObject();
    if (auto column = FileEntryColumns::sortColumn(object.value(kSortColumn).toString())) state.sortColumn = *column;
    if (const QJsonValue ascending = object.value(kSortAscending); ascending.isBool())
        state.sortAscending = ascending.toBool();
    if (auto mode = decodedViewMode(object.value(kViewMode))) state.viewMode = *mode;
    if (const QJsonValue columns = object.value(kVisibleColumns); columns.isArray()) {
        state.visibleColumns.clear();
        for (const QJsonValue& item : columns.toArray())
            if (auto column = FileEntryColumns::column(item.toString())) state.visibleColumns.insert(*column);
    }
    if (const QJsonValue order = object.value(kColumnOrder); order.isArray())
        for (const QJsonValue& item : order.toArray())
            if (item.isString()) state.columnOrder.append(item.toString());
    if (const QJsonValue widths = object.value(kColumnWidths); widths.isObject()) {
        const QJsonObject map = widths.toObject();
        for (auto it = map.begin(); it != map.end(); ++it) {
            const double width = it.value().toDouble(-1);
            if (std::isfinite(width) && width > 0 && width <= kMaximumColumnWidth) state.columnWidths.insert(it.key(), width);
        }
    }
    return state;
}
