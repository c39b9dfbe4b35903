#include "Support/FileURIList.h"

#include "PathKit/FilePaths.h"

namespace {

bool isKept(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '.'
        || c == '_' || c == '~' || c == '/';
}

int hexValue(char c)
{
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The lines of a list, without their CR, empty ones dropped.
QList<QByteArrayView> lines(QByteArrayView text)
{
    QList<QByteArrayView> out;
    while (!text.isEmpty()) {
        qsizetype end = text.indexOf('\n');
        if (end < 0) end = text.size();
        QByteArrayView line = text.first(end);
        if (line.endsWith('\r')) line.chop(1);
        if (!line.isEmpty()) out.append(line);
        text = text.sliced(std::min(end + 1, text.size()));
    }
    return out;
}

QStringList pathsOf(const QList<QByteArrayView>& uris)
{
    QStringList out;
    for (QByteArrayView line : uris) {
        if (line.startsWith('#')) continue;
        if (auto local = FileURIList::path(line.trimmed())) out.append(*local);
    }
    return out;
}

} // namespace

QByteArray FileURIList::percentEncoded(QByteArrayView bytes)
{
    static constexpr char kHex[] = "0123456789ABCDEF";
    QByteArray out;
    out.reserve(bytes.size() * 3);
    for (char c : bytes) {
        if (isKept(c)) {
            out.append(c);
        } else {
            const auto byte = static_cast<unsigned char>(c);
            out.append('%').append(kHex[byte >> 4]).append(kHex[byte & 0xF]);
        }
    }
    return out;
}

QByteArray FileURIList::percentDecoded(QByteArrayView text)
{
    QByteArray out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const int high = i + 2 < text.size() && text[i] == '%' ? hexValue(text[i + 1]) : -1;
        const int low = high >= 0 ? hexValue(text[i + 2]) : -1;
        if (low >= 0) {
            out.append(char(high * 16 + low));
            i += 2;
        } else {
            out.append(text[i]);
        }
    }
    return out;
}

QByteArray FileURIList::uri(const QString& path)
{
    return "file://" + percentEncoded(FilePaths::toNative(path));
}

std::optional<QString> FileURIList::path(QByteArrayView uri)
{
    if (uri.size() < 5 || QByteArrayView(uri.first(5)).compare("file:", Qt::CaseInsensitive) != 0) return {};
    QByteArrayView rest = uri.sliced(5);
    // "file://host/path"; "file:/path" (no authority) is read too.
    if (rest.startsWith("//")) {
        rest = rest.sliced(2);
        qsizetype slash = rest.indexOf('/');
        if (slash < 0) return {};
        const QByteArrayView host = rest.first(slash);
        if (!host.isEmpty() && host.compare("localhost", Qt::CaseInsensitive) != 0) return {};
        rest = rest.sliced(slash);
    }
    const QByteArray bytes = percentDecoded(rest);
    if (!bytes.startsWith('/') || bytes.contains('\0')) return {};
    return FilePaths::fromNative(bytes);
}

QByteArray FileURIList::uriList(const QStringList& paths)
{
    QByteArray out;
    for (const QString& each : paths) out += uri(each) + "\r\n";
    return out;
}

QStringList FileURIList::pathsInURIList(QByteArrayView list)
{
    return pathsOf(lines(list));
}

QByteArray FileURIList::copiedFiles(const QStringList& paths, bool isCut)
{
    QByteArray out = isCut ? "cut" : "copy";
    for (const QString& each : paths) out += '\n' + uri(each);
    return out;
}

std::optional<FileURIList::CopiedFiles> FileURIList::parseCopiedFiles(QByteArrayView text)
{
    QList<QByteArrayView> all = lines(text);
    if (all.isEmpty()) return {};
    const QByteArrayView operation = all.takeFirst().trimmed();
    if (operation != "copy" && operation != "cut") return {};
    return CopiedFiles{operation == "cut", pathsOf(all)};
}
