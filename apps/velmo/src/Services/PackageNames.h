#pragma once

#include <QStringView>

// Folders whose names end in a bundle suffix (".app", ".framework", ...) are
// packages: shown and sized as one item.
bool isPackageName(QStringView name);
