#include "Models/VelmoSessionState.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <cmath>

namespace {

// A failed field makes the whole document undecodable.
struct Undecodable { };

QString requiredString(const QJsonObject& object, const char* key)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (!value.isString()) throw Undecodable {};
    return value.toString();
}

template <typename T, typename Convert>
T optionalValue(const QJsonObject& object, const char* key, T fallback, Convert convert)
{
    const QJsonValue value = object.value(QLatin1String(key));
    if (value.isUndefined() || value.isNull()) return fallback;
    return convert(value);
}

qint64 integer(const QJsonValue& value)
{
    if (!value.isDouble()) throw Undecodable {};
    const double number = value.toDouble();
    // Integers only, and within what the index can hold.
    if (number != std::floor(number) || std::abs(number) > 9.0e15) throw Undecodable {};
    return qint64(number);
}

bool boolean(const QJsonValue& value)
{
    if (!value.isBool()) throw Undecodable {};
    return value.toBool();
}

VelmoFileViewMode viewMode(const QJsonValue& value)
{
    if (value == QJsonValue(QStringLiteral("list"))) return VelmoFileViewMode::list;
    if (value == QJsonValue(QStringLiteral("thumbnails"))) return VelmoFileViewMode::thumbnails;
    throw Undecodable {};
}

FileEntrySortColumn sortColumn(const QJsonValue& value)
{
    if (!value.isString()) throw Undecodable {};
    if (auto column = FileEntryColumns::sortColumn(value.toString())) return *column;
    throw Undecodable {};
}

PaneID paneID(const QJsonValue& value)
{
    if (value == QJsonValue(QStringLiteral("left"))) return PaneID::left;
    if (value == QJsonValue(QStringLiteral("right"))) return PaneID::right;
    throw Undecodable {};
}

std::optional<qint64> optionalIndex(const QJsonObject& object)
{
    return optionalValue<std::optional<qint64>>(object, "originBrowserTabIndex", std::nullopt,
                                                [](const QJsonValue& v) { return integer(v); });
}

VelmoSessionState::BrowserTab browserTab(const QJsonObject& o)
{
    VelmoSessionState::BrowserTab tab;
    tab.leftPath = requiredString(o, "leftPath");
    tab.rightPath = requiredString(o, "rightPath");
    if (!o.contains(QLatin1String("activePane"))) throw Undecodable {};
    tab.activePane = paneID(o.value(QLatin1String("activePane")));
    tab.leftViewMode = optionalValue(o, "leftViewMode", VelmoFileViewMode::list, viewMode);
    tab.rightViewMode = optionalValue(o, "rightViewMode", VelmoFileViewMode::list, viewMode);
    tab.leftSortColumn = optionalValue(o, "leftSortColumn", FileEntrySortColumn::name, sortColumn);
    tab.leftSortAscending = optionalValue(o, "leftSortAscending", true, boolean);
    tab.rightSortColumn = optionalValue(o, "rightSortColumn", FileEntrySortColumn::name, sortColumn);
    tab.rightSortAscending = optionalValue(o, "rightSortAscending", true, boolean);
    return tab;
}

VelmoSessionState::CompressionTab compressionTab(const QJsonObject& o)
{
    VelmoSessionState::CompressionTab tab;
    const QJsonValue paths = o.value(QLatin1String("sourcePaths"));
    if (!paths.isArray()) throw Undecodable {};
    for (const QJsonValue& path : paths.toArray()) {
        if (!path.isString()) throw Undecodable {};
        tab.sourcePaths.append(path.toString());
    }
    const QJsonValue settings = o.value(QLatin1String("settings"));
    if (!settings.isObject()) throw Undecodable {};
    tab.settings = settings.toObject();
    tab.originBrowserTabIndex = optionalIndex(o);
    return tab;
}

VelmoSessionState::Tab tab(const QJsonValue& value)
{
    if (!value.isObject()) throw Undecodable {};
    const QJsonObject outer = value.toObject();
    // One key, the kind, holding {"_0": record}.
    if (outer.size() != 1) throw Undecodable {};
    const QString kind = outer.begin().key();
    const QJsonValue wrapper = outer.begin().value();
    if (!wrapper.isObject() || wrapper.toObject().size() != 1) throw Undecodable {};
    const QJsonValue recordValue = wrapper.toObject().value(QLatin1String("_0"));
    if (!recordValue.isObject()) throw Undecodable {};
    const QJsonObject record = recordValue.toObject();
    if (kind == u"browser") return browserTab(record);
    if (kind == u"search")
        return VelmoSessionState::SearchTab {requiredString(record, "folderPath"), requiredString(record, "query"),
                                             optionalIndex(record)};
    if (kind == u"sizeMap")
        return VelmoSessionState::SizeMapTab {requiredString(record, "folderPath"), optionalIndex(record)};
    if (kind == u"imageCompression") return VelmoSessionState::ImageCompressionTab {compressionTab(record)};
    if (kind == u"pdfCompression") return VelmoSessionState::PDFCompressionTab {compressionTab(record)};
    throw Undecodable {};
}

QJsonObject wrapped(const char* kind, const QJsonObject& record)
{
    return QJsonObject {{QLatin1String(kind), QJsonObject {{"_0", record}}}};
}

QJsonObject compressionRecord(const VelmoSessionState::CompressionTab& tab)
{
    QJsonObject record {{"sourcePaths", QJsonArray::fromStringList(tab.sourcePaths)}, {"settings", tab.settings}};
    if (tab.originBrowserTabIndex) record["originBrowserTabIndex"] = *tab.originBrowserTabIndex;
    return record;
}

} // namespace

std::optional<VelmoSessionState> VelmoSessionState::decode(const QByteArray& bytes)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) return std::nullopt;
    const QJsonObject root = document.object();
    try {
        VelmoSessionState state;
        const QJsonValue tabs = root.value(QLatin1String("tabs"));
        if (!tabs.isArray() || !root.contains(QLatin1String("activeTabIndex"))) return std::nullopt;
        for (const QJsonValue& value : tabs.toArray()) state.tabs.push_back(tab(value));
        state.activeTabIndex = integer(root.value(QLatin1String("activeTabIndex")));
        return state;
    } catch (const Undecodable&) {
        return std::nullopt;
    }
}

QByteArray VelmoSessionState::encode() const
{
    QJsonArray array;
    for (const Tab& each : tabs) {
        if (const auto* browser = std::get_if<BrowserTab>(&each)) {
            array.append(wrapped("browser", QJsonObject {
                                                {"leftPath", browser->leftPath},
                                                {"rightPath", browser->rightPath},
                                                {"activePane", paneIDText(browser->activePane)},
                                                {"leftViewMode", viewModeText(browser->leftViewMode)},
                                                {"rightViewMode", viewModeText(browser->rightViewMode)},
                                                {"leftSortColumn", FileEntryColumns::id(browser->leftSortColumn)},
                                                {"leftSortAscending", browser->leftSortAscending},
                                                {"rightSortColumn", FileEntryColumns::id(browser->rightSortColumn)},
                                                {"rightSortAscending", browser->rightSortAscending},
                                            }));
        } else if (const auto* search = std::get_if<SearchTab>(&each)) {
            QJsonObject record {{"folderPath", search->folderPath}, {"query", search->query}};
            if (search->originBrowserTabIndex) record["originBrowserTabIndex"] = *search->originBrowserTabIndex;
            array.append(wrapped("search", record));
        } else if (const auto* sizeMap = std::get_if<SizeMapTab>(&each)) {
            QJsonObject record {{"folderPath", sizeMap->folderPath}};
            if (sizeMap->originBrowserTabIndex) record["originBrowserTabIndex"] = *sizeMap->originBrowserTabIndex;
            array.append(wrapped("sizeMap", record));
        } else if (const auto* images = std::get_if<ImageCompressionTab>(&each)) {
            array.append(wrapped("imageCompression", compressionRecord(*images)));
        } else {
            array.append(wrapped("pdfCompression", compressionRecord(std::get<PDFCompressionTab>(each))));
        }
    }
    return QJsonDocument(QJsonObject {{"tabs", array}, {"activeTabIndex", activeTabIndex}}).toJson(QJsonDocument::Compact);
}
