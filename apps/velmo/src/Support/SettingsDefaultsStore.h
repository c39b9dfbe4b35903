#pragma once

#include "Support/DefaultsStore.h"

#include <QSettings>

// The program's defaults: an INI file under the XDG config folder.
class SettingsDefaultsStore final : public DefaultsStore {
public:
    SettingsDefaultsStore();
    explicit SettingsDefaultsStore(const QString& filePath);

    std::optional<QVariant> value(const QString& key) const override;
    void setValue(const QString& key, const QVariant& value) override;
    void remove(const QString& key) override;
    void flush() override;

private:
    // QSettings treats "/" as a group separator and "." freely; keys are kept
    // flat under [General] by escaping nothing: "velmo.x.y" stays one key.
    mutable QSettings settings_;
};
