#pragma once

#include <QJsonObject>

class FilePaneStore;
class VelmoStore;

// What the stores hold, as JSON: for tests, reviewers and bug reports.
class StateDump {
public:
    static QJsonObject dump(const VelmoStore& store);
    static QJsonObject dumpPane(const FilePaneStore& pane);
};
