#include "Models/VelmoViewOptions.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cmath>
#include <tuple>

namespace {

using Options = VelmoViewOptions;

struct BoolField {
    const char* key;
    bool Options::*member;
};

struct NumberField {
    const char* key;
    double Options::*member;
    Options::Range range;
};

// In the stored order; the keys are the field names.
constexpr BoolField boolFields[] = {
    {"treatPackagesAsFolders", &Options::treatPackagesAsFolders},
    {"alwaysShowFileExtensions", &Options::alwaysShowFileExtensions},
    {"boldFolders", &Options::boldFolders},
    {"italicizeAliases", &Options::italicizeAliases},
    {"dimInvisibles", &Options::dimInvisibles},
    {"shadowed", &Options::shadowed},
    {"alternateRowColors", &Options::alternateRowColors},
    {"showVerticalGrid", &Options::showVerticalGrid},
    {"showHorizontalGrid", &Options::showHorizontalGrid},
    {"showFileNames", &Options::showFileNames},
    {"showIconPreviews", &Options::showIconPreviews},
    {"showLeadingDatesAsMonospaced", &Options::showLeadingDatesAsMonospaced},
    {"arrangeAscending", &Options::arrangeAscending},
    {"smartSorting", &Options::smartSorting},
    {"sortFolderAliasesWithFolders", &Options::sortFolderAliasesWithFolders},
    {"useRelativeDates", &Options::useRelativeDates},
    {"calculateAllSizes", &Options::calculateAllSizes},
    {"smartCalculateFolderSizes", &Options::smartCalculateFolderSizes},
    {"showHoverHighlight", &Options::showHoverHighlight},
    {"stopOptionArrowBeforeFileExtension", &Options::stopOptionArrowBeforeFileExtension},
};

constexpr NumberField numberFields[] = {
    {"fontSize", &Options::fontSize, Options::fontSizeRange},
    {"iconSize", &Options::iconSize, Options::iconSizeRange},
    {"thumbnailSize", &Options::thumbnailSize, Options::thumbnailSizeRange},
    {"rowSpacing", &Options::rowSpacing, Options::rowSpacingRange},
    {"sidebarRowHeight", &Options::sidebarRowHeight, Options::sidebarRowHeightRange},
    {"sidebarSectionSpacing", &Options::sidebarSectionSpacing, Options::sidebarSectionSpacingRange},
};

std::optional<double> number(const QJsonValue& value, Options::Range range)
{
    if (!value.isDouble() || !std::isfinite(value.toDouble())) return std::nullopt;
    return std::clamp(value.toDouble(), range.minimum, range.maximum);
}

// Unknown and repeated names are dropped: the list's columns are built from it.
QStringList knownColumnIDs(const QJsonArray& array)
{
    QStringList ids;
    for (const QJsonValue& value : array) {
        const QString id = value.toString();
        if (FileEntryColumns::sortColumn(id) && !ids.contains(id)) ids.append(id);
    }
    return ids;
}

} // namespace

bool VelmoViewOptions::requiresRowReload(const VelmoViewOptions& other) const
{
    auto key = [](const VelmoViewOptions& o) {
        return std::tie(o.alwaysShowFileExtensions, o.fontSize, o.boldFolders, o.italicizeAliases, o.dimInvisibles,
                        o.shadowed, o.showLeadingDatesAsMonospaced, o.showFileNames, o.showIconPreviews, o.iconSize,
                        o.rowSpacing, o.useRelativeDates);
    };
    return key(*this) != key(other);
}

VelmoViewOptions VelmoViewOptions::decode(const QByteArray& data)
{
    QJsonParseError error {};
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) return defaults();
    return fromJson(document.object());
}

VelmoViewOptions VelmoViewOptions::fromJson(const QJsonObject& object)
{
    VelmoViewOptions options;
    for (const BoolField& field : boolFields) {
        const QJsonValue value = object.value(QLatin1String(field.key));
        if (value.isBool()) options.*field.member = value.toBool();
    }
    for (const NumberField& field : numberFields)
        if (auto value = number(object.value(QLatin1String(field.key)), field.range)) options.*field.member = *value;

    if (const QJsonValue value = object.value(QLatin1String("arrangeColumn")); value.isString())
        options.arrangeColumn = FileEntryColumns::sortColumn(value.toString());
    if (const QJsonValue value = object.value(QLatin1String("visibleColumns")); value.isArray()) {
        options.visibleColumns.clear();
        for (const QJsonValue& item : value.toArray())
            if (auto column = FileEntryColumns::column(item.toString())) options.visibleColumns.insert(*column);
    }
    if (const QJsonValue value = object.value(QLatin1String("columnOrder")); value.isArray())
        options.columnOrder = knownColumnIDs(value.toArray());
    if (const QJsonValue value = object.value(QLatin1String("columnWidths")); value.isObject()) {
        const QJsonObject widths = value.toObject();
        for (auto it = widths.begin(); it != widths.end(); ++it)
            if (auto width = number(it.value(), columnWidthRange); width && FileEntryColumns::sortColumn(it.key()))
                options.columnWidths.insert(it.key(), *width);
    }
    return options;
}

QJsonObject VelmoViewOptions::toJson() const
{
    QJsonObject object;
    for (const BoolField& field : boolFields) object.insert(QLatin1String(field.key), this->*field.member);
    for (const NumberField& field : numberFields) object.insert(QLatin1String(field.key), this->*field.member);
    if (arrangeColumn) object.insert(QLatin1String("arrangeColumn"), FileEntryColumns::id(*arrangeColumn));
    QJsonArray columns;
    for (FileEntryColumn column : FileEntryColumns::allColumns)
        if (visibleColumns.contains(column)) columns.append(FileEntryColumns::id(column));
    object.insert(QLatin1String("visibleColumns"), columns);
    object.insert(QLatin1String("columnOrder"), QJsonArray::fromStringList(columnOrder));
    QJsonObject widths;
    for (auto it = columnWidths.begin(); it != columnWidths.end(); ++it) widths.insert(it.key(), it.value());
    object.insert(QLatin1String("columnWidths"), widths);
    return object;
}

QByteArray VelmoViewOptions::encode() const
{
    return QJsonDocument(toJson()).toJson(QJsonDocument::Compact);
}

VelmoViewOptions VelmoViewOptions::migrateLegacy(VelmoViewOptions options)
{
    const QSet<FileEntryColumn> legacy {FileEntryColumn::modified, FileEntryColumn::size};
    if (options.visibleColumns != legacy) return options;
    options.visibleColumns.insert(FileEntryColumn::contents);
    options.columnOrder = columnOrderWithContentsBeforeSize(options.columnOrder);
    return options;
}

QStringList VelmoViewOptions::columnOrderWithContentsBeforeSize(const QStringList& order)
{
    const QString contents = QStringLiteral("contents");
    if (order.isEmpty()) return {QStringLiteral("name"), contents, QStringLiteral("size"), QStringLiteral("modified")};
    QStringList result = order;
    result.removeAll(contents);
    qsizetype at = result.indexOf(QStringLiteral("size"));
    if (at < 0) {
        const qsizetype name = result.indexOf(QStringLiteral("name"));
        at = name < 0 ? 0 : name + 1;
    }
    result.insert(at, contents);
    return result;
}
