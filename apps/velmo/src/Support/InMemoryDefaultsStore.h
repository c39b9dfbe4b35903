#pragma once

#include "Support/DefaultsStore.h"

#include <QHash>

// Defaults that live only as long as the object: for tests and for runs that must
// not touch the user's settings (--screenshot).
class InMemoryDefaultsStore final : public DefaultsStore {
public:
    std::optional<QVariant> value(const QString& key) const override;
    void setValue(const QString& key, const QVariant& value) override { values_.insert(key, value); }
    void remove(const QString& key) override { values_.remove(key); }

private:
    QHash<QString, QVariant> values_;
};
