#include "Support/ByteCountFormatter.h"

#include <QLocale>
#include <cmath>

QString ByteCountFormatter::string(qint64 bytes)
{
    if (bytes == 0) return QStringLiteral("Zero KB");
    const bool negative = bytes < 0;
    const double magnitude = std::fabs(double(bytes));
    const QString sign = negative ? QStringLiteral("-") : QString();
    if (magnitude < 1000) {
        const qint64 whole = negative ? -bytes : bytes;
        return sign + QString::number(whole) + (whole == 1 ? QStringLiteral(" byte") : QStringLiteral(" bytes"));
    }
    static const char* const units[] = {"KB", "MB", "GB", "TB", "PB", "EB"};
    double value = magnitude / 1000.0;
    int unit = 0;
    // Round first, so that 999,999 bytes reads "1 MB" and never "1,000 KB".
    auto decimalsFor = [](int u) { return u == 0 ? 0 : (u == 1 ? 1 : 2); };
    while (unit < 5) {
        const double scale = std::pow(10.0, decimalsFor(unit));
        if (std::round(value * scale) / scale < 1000.0) break;
        value /= 1000.0;
        ++unit;
    }
    QString number = QLocale::c().toString(value, 'f', decimalsFor(unit));
    if (number.contains(u'.')) {
        while (number.endsWith(u'0')) number.chop(1);
        if (number.endsWith(u'.')) number.chop(1);
    }
    return sign + number + u' ' + QLatin1String(units[unit]);
}
