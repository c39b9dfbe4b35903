#pragma once

#include <QDateTime>
#include <QString>

struct ScanSummary {
    QString rootURL {};
    QDateTime startedAt {};
    QDateTime finishedAt {};
    int itemsScanned = 0;
    int directoriesScanned = 0;
    int filesScanned = 0;
    int unreadableCount = 0;
    qint64 totalAllocatedSize = 0;

    bool operator==(const ScanSummary&) const = default;
};
