#include "Support/DefaultsStore.h"

bool DefaultsStore::boolValue(const QString& key, bool fallback) const
{
    auto stored = value(key);
    if (!stored) return fallback;
    // INI files give "true"/"false" strings back; anything else counts as absent.
    if (stored->typeId() == QMetaType::Bool) return stored->toBool();
    const QString text = stored->toString().trimmed().toLower();
    if (text == u"true" || text == u"1") return true;
    if (text == u"false" || text == u"0") return false;
    return fallback;
}

double DefaultsStore::doubleValue(const QString& key, double fallback) const
{
    auto stored = value(key);
    if (!stored) return fallback;
    bool ok = false;
    double number = stored->toDouble(&ok);
    return ok ? number : fallback;
}

QString DefaultsStore::stringValue(const QString& key, const QString& fallback) const
{
    auto stored = value(key);
    return stored ? stored->toString() : fallback;
}

std::optional<QByteArray> DefaultsStore::data(const QString& key) const
{
    auto stored = value(key);
    if (!stored) return std::nullopt;
    return stored->toByteArray();
}
