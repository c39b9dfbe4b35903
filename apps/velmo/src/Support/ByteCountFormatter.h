#pragma once

#include <QString>

// The one text for byte counts everywhere in Velmo: decimal units (1 KB = 1,000
// bytes) as file sizes are shown on the desktop; whole kilobytes, one decimal
// for megabytes, two from gigabytes on.
class ByteCountFormatter {
public:
    static QString string(qint64 bytes);
};
