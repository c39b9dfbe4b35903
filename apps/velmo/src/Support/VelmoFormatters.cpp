#include "Support/VelmoFormatters.h"

#include <QLocale>

QString VelmoFormatters::date(const std::optional<QDateTime>& date, bool relative, const QDateTime& now)
{
    if (!date) return QStringLiteral("--");
    if (relative) return relativeDate(*date, now);
    static const QLocale locale = QLocale::system().language() == QLocale::C
        ? QLocale(QLocale::English, QLocale::UnitedStates)
        : QLocale::system();
    return locale.toString(date->toLocalTime(), QLocale::ShortFormat);
}

QString VelmoFormatters::relativeDate(const QDateTime& date, const QDateTime& now)
{
    const qint64 seconds = date.secsTo(now);
    const bool future = seconds < 0;
    const qint64 span = future ? -seconds : seconds;
    struct Unit {
        qint64 seconds;
        const char* name;
    };
    static const Unit units[] = {{365 * 86400, "yr."}, {30 * 86400, "mo."}, {7 * 86400, "wk."},
                                 {86400, "day"},       {3600, "hr."},       {60, "min."}};
    for (const Unit& unit : units) {
        if (span >= unit.seconds) {
            const qint64 count = span / unit.seconds;
            QString name = QLatin1String(unit.name);
            if (name == u"day" && count != 1) name = QStringLiteral("days");
            const QString amount = QString::number(count) + u' ' + name;
            return future ? QStringLiteral("in ") + amount : amount + QStringLiteral(" ago");
        }
    }
    const QString amount = QString::number(span) + QStringLiteral(" sec.");
    return future ? QStringLiteral("in ") + amount : amount + QStringLiteral(" ago");
}
