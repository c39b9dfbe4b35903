#pragma once

#include <QString>
#include <QUuid>

#include <optional>

enum class ScanNodeKind { file, directory, package };

// One file-system object of a scan. For a directory the sizes cover its whole subtree.
struct ScanNodeRecord {
    QUuid id {};                       // StableScanNodeID of `url`
    std::optional<QUuid> parentID {};  // absent on the root
    QString url {};                    // standardised absolute path
    QString displayName {};
    ScanNodeKind kind = ScanNodeKind::file;
    bool isHidden = false;
    bool isPackage = false;
    bool isReadable = true;
    qint64 allocatedSize = 0;
    qint64 logicalSize = 0;
    int childCount = 0;             // direct children

    bool operator==(const ScanNodeRecord&) const = default;
};
