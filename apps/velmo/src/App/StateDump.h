#pragma once

#include "Models/VelmoViewOptions.h"

#include <QJsonObject>

class FilePaneStore;
class VelmoStore;

// What the stores hold, as JSON: for tests, reviewers and bug reports.
class StateDump {
public:
    static QJsonObject dump(const VelmoStore& store);
    // The cells read as the list shows them under `options`.
    static QJsonObject dumpPane(const FilePaneStore& pane, const VelmoViewOptions& options = {});
};
