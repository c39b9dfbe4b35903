#include "Support/SettingsDefaultsStore.h"

#include <QStandardPaths>

SettingsDefaultsStore::SettingsDefaultsStore()
    : SettingsDefaultsStore(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
                            + QStringLiteral("/velmo/velmo.ini"))
{
}

SettingsDefaultsStore::SettingsDefaultsStore(const QString& filePath)
    : settings_(filePath, QSettings::IniFormat)
{
}

std::optional<QVariant> SettingsDefaultsStore::value(const QString& key) const
{
    if (!settings_.contains(key)) return std::nullopt;
    return settings_.value(key);
}

void SettingsDefaultsStore::setValue(const QString& key, const QVariant& value)
{
    settings_.setValue(key, value);
}

void SettingsDefaultsStore::remove(const QString& key)
{
    settings_.remove(key);
}

void SettingsDefaultsStore::flush()
{
    settings_.sync();
}
