#pragma once

#include <QString>

enum class PaneID { left, right };

inline QString paneIDText(PaneID id) { return id == PaneID::left ? QStringLiteral("left") : QStringLiteral("right"); }
inline PaneID otherPane(PaneID id) { return id == PaneID::left ? PaneID::right : PaneID::left; }

enum class VelmoFileViewMode { list, thumbnails };

inline QString viewModeText(VelmoFileViewMode mode)
{
    return mode == VelmoFileViewMode::list ? QStringLiteral("list") : QStringLiteral("thumbnails");
}
