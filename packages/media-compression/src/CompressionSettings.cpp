#include <MediaCompression/CompressionSettings.h>

#include <QJsonValue>

#include <algorithm>
#include <cmath>
#include <optional>

namespace {

// An integer as a JSON number holds it: whole and in range. 80.5, "80" and true are
// unreadable, as a strict decoder would find them.
std::optional<int> readInteger(const QJsonValue& value)
{
    if (!value.isDouble()) return std::nullopt;
    const double number = value.toDouble();
    if (!std::isfinite(number) || std::trunc(number) != number) return std::nullopt;
    if (number < -2147483648.0 || number > 2147483647.0) return std::nullopt;
    return static_cast<int>(number);
}

int clampedPercent(const QJsonValue& value, int fallback)
{
    return std::clamp(readInteger(value).value_or(fallback), 1, 100);
}

} // namespace

CompressionSettings CompressionSettings::fromJson(const QJsonObject& object)
{
    CompressionSettings settings;
    const QJsonValue format = object.value(QLatin1String("format"));
    if (format.isString()) settings.format = outputFormatFromRawValue(format.toString()).value_or(OutputFormat::jpeg);
    settings.quality = clampedPercent(object.value(QLatin1String("quality")), 80);
    settings.scalePercent = clampedPercent(object.value(QLatin1String("scalePercent")), 100);
    const QJsonValue suffix = object.value(QLatin1String("fileSuffix"));
    if (suffix.isString()) settings.fileSuffix = suffix.toString();
    return settings;
}

QJsonObject CompressionSettings::toJson() const
{
    return QJsonObject {
        { QLatin1String("format"), rawValue(format) },
        { QLatin1String("quality"), quality },
        { QLatin1String("scalePercent"), scalePercent },
        { QLatin1String("fileSuffix"), fileSuffix },
    };
}

QString CompressionSettings::signature() const
{
    return rawValue(format) + QLatin1Char('|') + QString::number(quality) + QLatin1Char('|')
        + QString::number(scalePercent);
}
