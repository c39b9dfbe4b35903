#pragma once

#include "Models/FilePaneRow.h"

#include <QHash>
#include <QString>

// The pane's name filter: the trimmed text anywhere in the name, without regard
// to case or diacritics ("a" finds "Äpfel"), with no locale. Folded names are
// cached by name, since each keystroke filters the same names again.
class FileNameFilter {
public:
    static QString fold(const QString& text);

    FileEntryList filter(const FileEntryList& entries, const QString& filterText);
    void clearCache();

private:
    QHash<QString, QString> folded_;
    // The folded names of the last list filtered, in its order: typing into the
    // filter scans this vector and looks nothing up.
    FileEntryList lastSource_;
    std::vector<QString> lastFolded_;
};
