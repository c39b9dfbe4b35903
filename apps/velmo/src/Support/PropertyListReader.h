#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <optional>

// Reads property lists in their XML and binary ("bplist00") forms into QVariants:
// dictionaries become QVariantMap, arrays QVariantList, strings QString, integers
// qint64, reals double, booleans bool, dates QDateTime, data QByteArray.
class PropertyListReader {
public:
    static std::optional<QVariant> parse(const QByteArray& bytes);
    // The top-level dictionary of the file at `path`, if it is one.
    static std::optional<QVariantMap> readDictionary(const QString& path);
};
