#include "PathKit/FilePaths.h"

#include <QDir>

namespace {

constexpr char16_t kEscapeBase = 0xDC00;

bool isContinuation(unsigned char c) { return (c & 0xC0) == 0x80; }

// Length of the valid UTF-8 sequence at s (at most `left` bytes), or 0 if invalid.
int validSequenceLength(const unsigned char* s, qsizetype left, char32_t& code)
{
    unsigned char c = s[0];
    if (c < 0x80) { code = c; return 1; }
    if (c >= 0xC2 && c <= 0xDF && left >= 2 && isContinuation(s[1])) {
        code = ((c & 0x1F) << 6) | (s[1] & 0x3F);
        return 2;
    }
    if (c >= 0xE0 && c <= 0xEF && left >= 3 && isContinuation(s[1]) && isContinuation(s[2])) {
        code = ((c & 0x0F) << 12) | ((s[1] & 0x3F) << 6) | (s[2] & 0x3F);
        // Overlong forms and encoded surrogates are not valid UTF-8.
        if (code < 0x800 || (code >= 0xD800 && code <= 0xDFFF)) return 0;
        return 3;
    }
    if (c >= 0xF0 && c <= 0xF4 && left >= 4 && isContinuation(s[1]) && isContinuation(s[2])
        && isContinuation(s[3])) {
        code = ((c & 0x07) << 18) | ((s[1] & 0x3F) << 12) | ((s[2] & 0x3F) << 6) | (s[3] & 0x3F);
        if (code < 0x10000 || code > 0x10FFFF) return 0;
        return 4;
    }
    return 0;
}

bool isEscapedByte(char16_t u) { return u >= kEscapeBase + 0x80 && u <= kEscapeBase + 0xFF; }

} // namespace

QString FilePaths::fromNative(const char* bytes, qsizetype length)
{
    const auto* s = reinterpret_cast<const unsigned char*>(bytes);
    qsizetype i = 0;
    while (i < length && s[i] < 0x80) ++i;
    if (i == length) return QString::fromLatin1(bytes, length);

    QString out;
    out.resize(length);
    char16_t* d = reinterpret_cast<char16_t*>(out.data());
    qsizetype n = 0;
    for (qsizetype k = 0; k < i; ++k) d[n++] = s[k];
    while (i < length) {
        char32_t code = 0;
        int len = validSequenceLength(s + i, length - i, code);
        if (len == 0) {
            d[n++] = char16_t(kEscapeBase + s[i]);
            ++i;
        } else if (code >= 0x10000) {
            // A surrogate pair never needs more room than the 4 bytes it came from.
            code -= 0x10000;
            d[n++] = char16_t(0xD800 + (code >> 10));
            d[n++] = char16_t(0xDC00 + (code & 0x3FF));
            i += len;
        } else {
            d[n++] = char16_t(code);
            i += len;
        }
    }
    out.resize(n);
    return out;
}

QByteArray FilePaths::toNative(QStringView path)
{
    // Written through a pointer into room for the longest outcome: paths are
    // converted for every system call, so this is a hot loop.
    const qsizetype n = path.size();
    QByteArray out(n * 3, Qt::Uninitialized);
    char* o = out.data();
    const char16_t* s = path.utf16();
    for (qsizetype i = 0; i < n; ++i) {
        const char16_t u = s[i];
        if (u < 0x80) {
            *o++ = char(u);
        } else if (isEscapedByte(u)) {
            *o++ = char(u - kEscapeBase);
        } else if (u < 0x800) {
            *o++ = char(0xC0 | (u >> 6));
            *o++ = char(0x80 | (u & 0x3F));
        } else if (u >= 0xD800 && u <= 0xDBFF && i + 1 < n && s[i + 1] >= 0xDC00 && s[i + 1] <= 0xDFFF) {
            const char32_t code = 0x10000 + ((char32_t(u) - 0xD800) << 10) + (s[i + 1] - 0xDC00);
            ++i;
            *o++ = char(0xF0 | (code >> 18));
            *o++ = char(0x80 | ((code >> 12) & 0x3F));
            *o++ = char(0x80 | ((code >> 6) & 0x3F));
            *o++ = char(0x80 | (code & 0x3F));
        } else if (u >= 0xD800 && u <= 0xDFFF) {
            // A lone surrogate that is no escape has no bytes; keep something visible.
            *o++ = char(0xEF);
            *o++ = char(0xBF);
            *o++ = char(0xBD);
        } else {
            *o++ = char(0xE0 | (u >> 12));
            *o++ = char(0x80 | ((u >> 6) & 0x3F));
            *o++ = char(0x80 | (u & 0x3F));
        }
    }
    out.truncate(o - out.constData());
    return out;
}

QString FilePaths::displayName(QStringView name)
{
    QString out = name.toString();
    for (auto& ch : out)
        if (isEscapedByte(ch.unicode()) || ch.unicode() < 0x20 || ch.unicode() == 0x7F) ch = QChar(0xFFFD);
    return out;
}

QString FilePaths::standardized(QStringView path)
{
    if (isStandardized(path)) return path.toString();
    QString absolute = path.startsWith(u'/') ? path.toString() : QDir::currentPath() + u'/' + path.toString();
    QStringList parts;
    for (QStringView part : QStringView(absolute).split(u'/', Qt::SkipEmptyParts)) {
        if (part == u".") continue;
        if (part == u"..") {
            if (!parts.isEmpty()) parts.removeLast();
            continue;
        }
        parts.append(part.toString());
    }
    if (parts.isEmpty()) return QStringLiteral("/");
    return u'/' + parts.join(u'/');
}

bool FilePaths::isStandardized(QStringView path)
{
    if (path.isEmpty() || path[0] != u'/') return false;
    if (path.size() == 1) return true;
    if (path.endsWith(u'/')) return false;
    // Every component must be non-empty and neither "." nor "..".
    qsizetype start = 1;
    while (start <= path.size()) {
        qsizetype end = path.indexOf(u'/', start);
        if (end < 0) end = path.size();
        QStringView part = path.mid(start, end - start);
        if (part.isEmpty() || part == u"." || part == u"..") return false;
        start = end + 1;
    }
    return true;
}

QString FilePaths::lastComponent(QStringView path)
{
    if (path == u"/") return QStringLiteral("/");
    qsizetype slash = path.lastIndexOf(u'/');
    return path.mid(slash + 1).toString();
}

QString FilePaths::parent(QStringView path)
{
    qsizetype slash = path.lastIndexOf(u'/');
    if (slash <= 0) return QStringLiteral("/");
    return path.left(slash).toString();
}

QString FilePaths::appending(const QString& folder, QStringView name)
{
    if (folder.endsWith(u'/')) return folder + name.toString();
    return folder + u'/' + name.toString();
}

QStringList FilePaths::components(QStringView path)
{
    QStringList out;
    for (QStringView part : path.split(u'/', Qt::SkipEmptyParts)) out.append(part.toString());
    return out;
}

bool FilePaths::isAncestorOrSelf(QStringView ancestor, QStringView path)
{
    if (ancestor == path) return true;
    return isDescendant(path, ancestor);
}

bool FilePaths::isDescendant(QStringView path, QStringView ancestor)
{
    if (ancestor == u"/") return path.size() > 1 && path.startsWith(u'/');
    return path.size() > ancestor.size() + 1 && path.startsWith(ancestor) && path[ancestor.size()] == u'/';
}

QString FilePaths::extension(QStringView path)
{
    QStringView name = path.mid(path.lastIndexOf(u'/') + 1);
    qsizetype dot = name.lastIndexOf(u'.');
    if (dot <= 0) return {};
    return name.mid(dot + 1).toString();
}
