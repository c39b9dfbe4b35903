#pragma once

#include "Models/VelmoViewOptions.h"

#include <QJsonObject>

class FilePaneStore;
class SearchSession;
class SizeMapSession;
class VelmoStore;

// What the stores hold, as JSON: for tests, reviewers and bug reports.
class StateDump {
public:
    static QJsonObject dump(const VelmoStore& store);
    // The cells read as the list shows them under `options`.
    static QJsonObject dumpPane(const FilePaneStore& pane, const VelmoViewOptions& options = {});
    // A size map tab: root, scan state and counters, totals, focus, selection,
    // breadcrumbs, and how many segments its chart last drew (0 before any).
    static QJsonObject dumpSizeMap(const SizeMapSession& session);
    // A search tab: query, mode, scope, status, result count and the first results.
    static QJsonObject dumpSearch(const SearchSession& session);
};
