#pragma once

#include <QString>

// Which pass found a batch of results: the system's file index, or the walk of the folder.
enum class FileSearchPhase { indexed, recursive };

namespace FileSearchPhases {
QString rawValue(FileSearchPhase phase); // "indexed", "recursive"
}
