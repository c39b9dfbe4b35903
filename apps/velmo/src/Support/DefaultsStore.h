#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

// The user-defaults domain: plain values under "velmo." keys, JSON documents as
// byte arrays. One interface, a QSettings store for the program and an in-memory
// one for tests.
class DefaultsStore {
public:
    virtual ~DefaultsStore() = default;

    virtual std::optional<QVariant> value(const QString& key) const = 0;
    virtual void setValue(const QString& key, const QVariant& value) = 0;
    virtual void remove(const QString& key) = 0;
    // Puts what was written on disk now, so that a crash or a kill right after
    // keeps it.
    virtual void flush() { }

    bool boolValue(const QString& key, bool fallback) const;
    double doubleValue(const QString& key, double fallback) const;
    QString stringValue(const QString& key, const QString& fallback = {}) const;
    std::optional<QByteArray> data(const QString& key) const;
    void setData(const QString& key, const QByteArray& bytes) { setValue(key, bytes); }
};
