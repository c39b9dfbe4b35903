// Feeds every stored-document decoder a large generated corpus of damaged
// documents: byte flips, truncations, splices, values of the wrong type, deep
// nesting, huge numbers. A decoder must never crash, hang or allocate without
// bound; run it in the sanitizer build.
//
//   velmo-fuzz-documents [--inputs N] [--seed S] [--keep DIR]
//
// Prints, per decoder, how many inputs ran and how many still decoded. With
// --keep, writes a few inputs of each kind (decoded despite damage, refused) to
// DIR/<decoder>/, the corpus the tests replay.
#include "Models/VelmoSessionState.h"
#include "Models/VelmoViewOptions.h"
#include "State/FavoriteStore.h"
#include "State/FolderViewStateStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>
#include <functional>
#include <random>

namespace {

struct Decoder {
    const char* name;
    QByteArray seed;
    // Whether the bytes decoded to a document (rather than the fallback).
    std::function<bool(const QByteArray&)> decodes;
};

std::vector<Decoder> decoders()
{
    const QByteArray session = R"({"tabs":[{"browser":{"_0":{"leftPath":"/tmp","rightPath":"/","activePane":"right",)"
                               R"("leftViewMode":"thumbnails","leftSortColumn":"size","leftSortAscending":false}}},)"
                               R"({"search":{"_0":{"folderPath":"/tmp","query":"x","originBrowserTabIndex":0}}},)"
                               R"({"imageCompression":{"_0":{"sourcePaths":["/a.png"],"settings":{"quality":80}}}}],)"
                               R"("activeTabIndex":1})";
    const QByteArray favorites = R"([{"id":"8d3e0c3a-3f5c-4a65-9b59-0c0f4a1d2b11","name":"Home","url":"/root","kind":"folder"},)"
                                 R"({"id":"5a1d1c0e-2b3c-4d5e-8f90-a1b2c3d4e5f6","name":"","url":"","kind":"separator"},)"
                                 R"({"id":"0b1c2d3e-4f50-4617-8293-a4b5c6d7e8f9","name":"Pair","url":"/tmp","kind":"pair",)"
                                 R"("leftPaneURL":"/tmp","rightPaneURL":"/"}])";
    const QByteArray folderStates = R"([{"path":"/tmp","state":{"sortColumn":"size","sortAscending":false,)"
                                    R"("viewMode":"list","visibleColumns":["size","kind"],"columnOrder":["kind","size"],)"
                                    R"("columnWidths":{"size":90,"kind":150}}}])";
    const QByteArray options = QJsonDocument(VelmoViewOptions::defaults().toJson()).toJson(QJsonDocument::Compact);
    return {
        {"session", session, [](const QByteArray& b) { return VelmoSessionState::decode(b).has_value(); }},
        {"favorites", favorites, [](const QByteArray& b) { return FavoriteStore::decode(b).has_value(); }},
        {"folderViewStates", folderStates, [](const QByteArray& b) { return !FolderViewStateStore::decode(b).empty(); }},
        {"viewOptions", options,
         [](const QByteArray& b) { return !(VelmoViewOptions::decode(b) == VelmoViewOptions::defaults()); }},
    };
}

// JSON-aware damage: replace one value somewhere with a value of another kind.
QJsonValue strangeValue(std::mt19937_64& random)
{
    switch (random() % 9) {
    case 0: return QJsonValue::Null;
    case 1: return QJsonValue(true);
    case 2: return QJsonValue(-1e300);
    case 3: return QJsonValue(double(qint64(random())));
    case 4: return QJsonValue(QString(int(random() % 4000), QChar(char16_t(0xDC80 + random() % 128))));
    case 5: return QJsonArray {1, "two", QJsonArray {}};
    case 6: return QJsonObject {{"_0", QJsonObject {}}};
    case 7: return QJsonValue(QStringLiteral("../../..//./"));
    default: return QJsonValue(0.5);
    }
}

QJsonValue damaged(const QJsonValue& value, std::mt19937_64& random, int depth)
{
    if (random() % 6 == 0 || depth > 6) return strangeValue(random);
    if (value.isObject()) {
        QJsonObject object = value.toObject();
        if (object.isEmpty()) return object;
        auto it = object.begin() + qsizetype(random() % object.size());
        switch (random() % 4) {
        case 0: object.erase(it); break;
        case 1: object.insert(QStringLiteral("extra"), strangeValue(random)); break;
        default: *it = damaged(*it, random, depth + 1);
        }
        return object;
    }
    if (value.isArray()) {
        QJsonArray array = value.toArray();
        if (array.isEmpty()) return array;
        const qsizetype at = qsizetype(random() % array.size());
        if (random() % 3 == 0) array.append(array.at(at));
        else array[at] = damaged(array.at(at), random, depth + 1);
        return array;
    }
    return value;
}

QByteArray mutate(const QByteArray& seed, std::mt19937_64& random)
{
    QByteArray bytes = seed;
    switch (random() % 7) {
    case 0: bytes.truncate(qsizetype(random() % (bytes.size() + 1))); break;
    case 1:
        for (int flips = 1 + int(random() % 4); flips-- > 0 && !bytes.isEmpty();)
            bytes[qsizetype(random() % bytes.size())] = char(random());
        break;
    case 2: {
        const qsizetype at = qsizetype(random() % (bytes.size() + 1));
        bytes.insert(at, bytes.mid(qsizetype(random() % (bytes.size() + 1)), 40));
        break;
    }
    case 3: bytes = QByteArray(int(random() % 2000), '[') + bytes; break;
    case 4: bytes = QJsonDocument(QJsonArray {QJsonDocument::fromJson(bytes).object()}).toJson(); break;
    default: {
        const QJsonValue value = damaged(QJsonDocument::fromJson(bytes).object(), random, 0);
        bytes = value.isObject() ? QJsonDocument(value.toObject()).toJson(QJsonDocument::Compact)
                                 : QJsonDocument(QJsonArray {value}).toJson(QJsonDocument::Compact);
    }
    }
    return bytes;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    long inputs = 100'000;
    quint64 seed = 1;
    QString keep;
    const QStringList args = app.arguments();
    for (int i = 1; i + 1 < args.size(); ++i) {
        if (args[i] == u"--inputs") inputs = args[++i].toLong();
        else if (args[i] == u"--seed") seed = args[++i].toULongLong();
        else if (args[i] == u"--keep") keep = args[++i];
    }
    for (const Decoder& decoder : decoders()) {
        std::mt19937_64 random(seed);
        long decoded = 0, keptDecoded = 0, keptRefused = 0;
        QByteArray input = decoder.seed;
        for (long n = 0; n < inputs; ++n) {
            // Mostly fresh damage to the seed, sometimes damage upon damage.
            input = mutate(random() % 4 == 0 ? input : decoder.seed, random);
            const bool ok = decoder.decodes(input);
            decoded += ok;
            long& kept = ok ? keptDecoded : keptRefused;
            if (!keep.isEmpty() && kept < 12 && random() % 997 == 0) {
                const QString folder = keep + u'/' + QString::fromLatin1(decoder.name);
                QDir().mkpath(folder);
                QFile file(folder + QStringLiteral("/%1-%2.json").arg(ok ? "decodes" : "refused").arg(kept++));
                if (file.open(QIODevice::WriteOnly)) file.write(input);
            }
        }
        std::printf("%s inputs=%ld decoded=%ld\n", decoder.name, inputs, decoded);
    }
    return 0;
}
