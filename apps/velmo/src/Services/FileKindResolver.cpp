#include "Services/FileKindResolver.h"

#include "PathKit/FilePaths.h"

#include <QFile>
#include <QMimeDatabase>
#include <QRegularExpression>
#include <QStandardPaths>

#include <algorithm>
#include <array>
#include <vector>

namespace {

const QMimeDatabase& database()
{
    static const QMimeDatabase mimeDatabase;
    return mimeDatabase;
}

// The globs that can match a name by more than its suffix, reduced to what a
// name must start or end with to be matched by one (case ignored: most globs
// match either case, and asking the database too often is only slower).
class WholeNameGlobs {
public:
    WholeNameGlobs()
    {
        // The shared MIME database lists every glob in its globs2 files
        // ("weight:type:glob[:flags]"), which read in a millisecond; asking Qt
        // for each type's globs parses hundreds of files instead, so that is
        // only the fallback for a database without them.
        bool found = false;
        for (const QString& path :
             QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, QStringLiteral("mime/globs2"))) {
            QFile file(path);
            if (!file.open(QIODevice::ReadOnly)) continue;
            found = true;
            for (const QByteArray& line : file.readAll().split('\n')) {
                const QList<QByteArray> fields = line.split(':');
                if (!line.startsWith('#') && fields.size() >= 3) add(QString::fromUtf8(fields[2]));
            }
        }
        if (found) return;
        for (const QMimeType& type : database().allMimeTypes())
            for (const QString& pattern : type.globPatterns()) add(pattern);
    }

    bool mayMatch(const QString& name) const
    {
        if (prefixes_.any(name.front(), [&](const QString& prefix) { return name.startsWith(prefix, Qt::CaseInsensitive); }))
            return true;
        if (suffixes_.any(name.back(), [&](const QString& suffix) { return name.endsWith(suffix, Qt::CaseInsensitive); }))
            return true;
        for (const QRegularExpression& other : others_)
            if (other.match(name).hasMatch()) return true;
        return false;
    }

private:
    void add(const QString& pattern)
    {
        // "*.so.[0-9]*": whatever the star takes, the rest starts at a dot, and a
        // name's first dot (after a leading one) begins its suffix.
        if (pattern.startsWith(u"*.") || pattern.isEmpty()) return;
        static const QRegularExpression wildcard(QStringLiteral("[*?[]"));
        static const QRegularExpression wildcardEnd(QStringLiteral("[*?\\]]"));
        const qsizetype first = pattern.indexOf(wildcard);
        if (first != 0) {
            // "Makefile", "README*", "makefile.*": a literal start.
            const QString prefix = first < 0 ? pattern : pattern.left(first);
            prefixes_.add(prefix.front(), prefix);
            return;
        }
        const qsizetype last = pattern.lastIndexOf(wildcardEnd);
        if (last + 1 < pattern.size()) {
            // "*~", "[0-9][0-9][0-9].vdr": a literal end.
            const QString suffix = pattern.mid(last + 1);
            suffixes_.add(suffix.back(), suffix);
            return;
        }
        // Names hold no '/', so the path form of the conversion is the plain one.
        others_.emplace_back(QRegularExpression::wildcardToRegularExpression(pattern),
                             QRegularExpression::CaseInsensitiveOption);
    }

    // Literal texts by the (case-folded) character a name must start or end
    // with; every name costs one array index per side.
    class ByCharacter {
    public:
        void add(QChar key, const QString& text)
        {
            const char16_t folded = key.toCaseFolded().unicode();
            (folded < 128 ? ascii_[folded] : other_).push_back(text);
            all_.push_back(text);
        }

        template <typename Test>
        bool any(QChar key, const Test& test) const
        {
            const char16_t folded = key.toCaseFolded().unicode();
            // Past ASCII, folding is too rich to bucket safely: test them all.
            const auto& candidates = folded < 128 ? ascii_[folded] : all_;
            return std::any_of(candidates.begin(), candidates.end(), test)
                || (folded < 128 && std::any_of(other_.begin(), other_.end(), test));
        }

    private:
        std::array<std::vector<QString>, 128> ascii_;
        std::vector<QString> other_;
        std::vector<QString> all_;
    };

    ByCharacter prefixes_;
    ByCharacter suffixes_;
    std::vector<QRegularExpression> others_;
};

QString kindFromDatabase(const QString& name)
{
    return database().mimeTypeForFile(FilePaths::displayName(name), QMimeDatabase::MatchExtension).comment();
}

} // namespace

QString FileKindResolver::kindForFileName(const QString& name)
{
    if (name.isEmpty()) return kindFromDatabase(name);
    // A name starting with a dot is its own key ('/' never occurs in a name, so
    // such keys can't meet the others).
    if (name.startsWith(u'.')) return cached(u'/' + name, name);
    static const WholeNameGlobs wholeNameGlobs;
    if (wholeNameGlobs.mayMatch(name)) return kindFromDatabase(name);
    // Now only the "*.…" globs can match, and only from the first dot on: that
    // suffix decides. A name without a dot matches no glob at all ("/").
    const qsizetype dot = name.indexOf(u'.', 1);
    return cached(dot > 0 ? name.mid(dot) : QStringLiteral("/"), name);
}

QString FileKindResolver::cached(const QString& key, const QString& name)
{
    auto it = cache_.constFind(key);
    if (it != cache_.constEnd()) return *it;
    const QString kind = kindFromDatabase(name);
    cache_.insert(key, kind);
    return kind;
}
