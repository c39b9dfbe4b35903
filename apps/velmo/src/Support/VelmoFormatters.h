#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

// Display texts for dates; byte counts go through ByteCountFormatter.
class VelmoFormatters {
public:
    // "--" for no date; the short date and time, or a relative text ("3 hr. ago").
    static QString date(const std::optional<QDateTime>& date, bool relative = false,
                        const QDateTime& now = QDateTime::currentDateTime());
    static QString relativeDate(const QDateTime& date, const QDateTime& now);
};
