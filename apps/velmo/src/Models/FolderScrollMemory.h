#pragma once

#include <QHash>
#include <QSet>
#include <QString>

// Scroll offsets per folder, and which folders the view should restore next.
struct FolderScrollMemory {
    QHash<QString, double> offsetsByFolder;
    QSet<QString> restorationRequests;

    void remember(double offset, const QString& url, const QString& displayedURL);
    // The offset once, if a restoration was asked for; 0 otherwise.
    double consumeRestorationOffset(const QString& url);

    bool operator==(const FolderScrollMemory&) const = default;
};
