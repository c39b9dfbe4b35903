#include "Support/PropertyListReader.h"

#include "PathKit/FilePaths.h"
#include "PathKit/RegularFile.h"

#include <QDateTime>
#include <QTimeZone>
#include <QXmlStreamReader>

#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// ---- XML form ----

std::optional<QVariant> readXmlValue(QXmlStreamReader& xml);

std::optional<QVariant> readXmlDict(QXmlStreamReader& xml)
{
    QVariantMap map;
    while (xml.readNextStartElement()) {
        if (xml.name() != u"key") return std::nullopt;
        const QString key = xml.readElementText();
        if (!xml.readNextStartElement()) return std::nullopt;
        auto value = readXmlValue(xml);
        if (!value) return std::nullopt;
        map.insert(key, *value);
    }
    return map;
}

std::optional<QVariant> readXmlValue(QXmlStreamReader& xml)
{
    const auto name = xml.name();
    if (name == u"dict") return readXmlDict(xml);
    if (name == u"array") {
        QVariantList list;
        while (xml.readNextStartElement()) {
            auto value = readXmlValue(xml);
            if (!value) return std::nullopt;
            list.append(*value);
        }
        return list;
    }
    if (name == u"string") return xml.readElementText();
    if (name == u"integer") {
        bool ok = false;
        qint64 number = xml.readElementText().trimmed().toLongLong(&ok);
        return ok ? std::optional<QVariant>(number) : std::nullopt;
    }
    if (name == u"real") return xml.readElementText().trimmed().toDouble();
    if (name == u"true" || name == u"false") {
        const bool value = name == u"true";
        xml.skipCurrentElement();
        return value;
    }
    if (name == u"date") return QDateTime::fromString(xml.readElementText().trimmed(), Qt::ISODate);
    if (name == u"data") return QByteArray::fromBase64(xml.readElementText().toLatin1());
    return std::nullopt;
}

std::optional<QVariant> parseXml(const QByteArray& bytes)
{
    QXmlStreamReader xml(bytes);
    if (!xml.readNextStartElement() || xml.name() != u"plist") return std::nullopt;
    if (!xml.readNextStartElement()) return std::nullopt;
    auto value = readXmlValue(xml);
    if (xml.hasError()) return std::nullopt;
    return value;
}

// ---- binary form ----

class BinaryPlist {
public:
    explicit BinaryPlist(const QByteArray& bytes) : data_(bytes) { }

    std::optional<QVariant> parse()
    {
        if (data_.size() < 40 || !data_.startsWith("bplist00")) return std::nullopt;
        const auto* trailer = bytes() + data_.size() - 32;
        offsetSize_ = trailer[6];
        refSize_ = trailer[7];
        objectCount_ = readUInt(trailer + 8, 8);
        const quint64 top = readUInt(trailer + 16, 8);
        offsetTable_ = readUInt(trailer + 24, 8);
        if (offsetSize_ < 1 || offsetSize_ > 8 || refSize_ < 1 || refSize_ > 8) return std::nullopt;
        if (objectCount_ == 0 || top >= objectCount_) return std::nullopt;
        if (offsetTable_ + objectCount_ * offsetSize_ > quint64(data_.size() - 32)) return std::nullopt;
        return object(top, 0);
    }

private:
    const unsigned char* bytes() const { return reinterpret_cast<const unsigned char*>(data_.constData()); }

    static quint64 readUInt(const unsigned char* p, int size)
    {
        quint64 value = 0;
        for (int i = 0; i < size; ++i) value = (value << 8) | p[i];
        return value;
    }

    bool inRange(quint64 offset, quint64 length) const
    {
        return offset <= quint64(data_.size()) && length <= quint64(data_.size()) - offset;
    }

    std::optional<quint64> offsetOf(quint64 ref) const
    {
        if (ref >= objectCount_) return std::nullopt;
        return readUInt(bytes() + offsetTable_ + ref * offsetSize_, offsetSize_);
    }

    // The count that follows a marker's low nibble 0xF as an integer object.
    std::optional<quint64> length(quint64& cursor, int nibble) const
    {
        if (nibble != 0xF) return quint64(nibble);
        if (!inRange(cursor, 1)) return std::nullopt;
        const int marker = bytes()[cursor];
        if ((marker & 0xF0) != 0x10) return std::nullopt;
        const int size = 1 << (marker & 0x0F);
        if (size > 8 || !inRange(cursor + 1, size)) return std::nullopt;
        const quint64 value = readUInt(bytes() + cursor + 1, size);
        cursor += 1 + size;
        return value;
    }

    std::optional<QVariant> object(quint64 ref, int depth) const
    {
        // Deep or cyclic references end the read rather than the stack.
        if (depth > 64) return std::nullopt;
        auto start = offsetOf(ref);
        if (!start || !inRange(*start, 1)) return std::nullopt;
        const int marker = bytes()[*start];
        const int type = marker >> 4, nibble = marker & 0x0F;
        quint64 cursor = *start + 1;
        switch (type) {
        case 0x0:
            if (nibble == 0x8) return false;
            if (nibble == 0x9) return true;
            return std::nullopt;
        case 0x1: {
            const int size = 1 << nibble;
            if (size > 8 || !inRange(cursor, size)) return std::nullopt;
            return qint64(readUInt(bytes() + cursor, size));
        }
        case 0x2: {
            const int size = 1 << nibble;
            if (!inRange(cursor, size)) return std::nullopt;
            const quint64 raw = readUInt(bytes() + cursor, size);
            if (size == 4) {
                float f;
                const quint32 r32 = quint32(raw);
                std::memcpy(&f, &r32, 4);
                return double(f);
            }
            if (size == 8) {
                double d;
                std::memcpy(&d, &raw, 8);
                return d;
            }
            return std::nullopt;
        }
        case 0x3: {
            if (!inRange(cursor, 8)) return std::nullopt;
            const quint64 raw = readUInt(bytes() + cursor, 8);
            double seconds;
            std::memcpy(&seconds, &raw, 8);
            // Seconds since 2001-01-01 UTC.
            return QDateTime::fromSecsSinceEpoch(978307200 + qint64(seconds), Qt::UTC);
        }
        case 0x4:
        case 0x5:
        case 0x6: {
            auto count = length(cursor, nibble);
            if (!count) return std::nullopt;
            const quint64 byteCount = type == 0x6 ? *count * 2 : *count;
            if (!inRange(cursor, byteCount)) return std::nullopt;
            const char* p = data_.constData() + cursor;
            if (type == 0x4) return QByteArray(p, qsizetype(byteCount));
            if (type == 0x5) return QString::fromLatin1(p, qsizetype(byteCount));
            QString text(qsizetype(*count), Qt::Uninitialized);
            for (quint64 i = 0; i < *count; ++i)
                text[qsizetype(i)] = QChar(char16_t(readUInt(bytes() + cursor + 2 * i, 2)));
            return text;
        }
        case 0xA:
        case 0xD: {
            auto count = length(cursor, nibble);
            if (!count) return std::nullopt;
            const quint64 refs = type == 0xD ? *count * 2 : *count;
            if (!inRange(cursor, refs * refSize_)) return std::nullopt;
            auto refAt = [&](quint64 i) { return readUInt(bytes() + cursor + i * refSize_, refSize_); };
            if (type == 0xA) {
                QVariantList list;
                for (quint64 i = 0; i < *count; ++i) {
                    auto value = object(refAt(i), depth + 1);
                    if (!value) return std::nullopt;
                    list.append(*value);
                }
                return list;
            }
            QVariantMap map;
            for (quint64 i = 0; i < *count; ++i) {
                auto key = object(refAt(i), depth + 1);
                auto value = object(refAt(*count + i), depth + 1);
                if (!key || !value || key->typeId() != QMetaType::QString) return std::nullopt;
                map.insert(key->toString(), *value);
            }
            return map;
        }
        default:
            return std::nullopt;
        }
    }

    const QByteArray& data_;
    int offsetSize_ = 0;
    int refSize_ = 0;
    quint64 objectCount_ = 0;
    quint64 offsetTable_ = 0;
};

} // namespace

std::optional<QVariant> PropertyListReader::parse(const QByteArray& bytes)
{
    if (bytes.startsWith("bplist00")) return BinaryPlist(bytes).parse();
    return parseXml(bytes);
}

std::optional<QVariantMap> PropertyListReader::readDictionary(const QString& path)
{
    // Info.plist files are small; a huge one is not a bundle's. A pipe or device
    // in its place is never opened.
    const auto bytes = RegularFile::read(AT_FDCWD, FilePaths::toNative(path).constData(), 16 * 1024 * 1024,
                                         RegularFile::Links::follow);
    if (!bytes) return std::nullopt;
    auto value = parse(*bytes);
    if (!value || value->typeId() != QMetaType::QVariantMap) return std::nullopt;
    return value->toMap();
}
