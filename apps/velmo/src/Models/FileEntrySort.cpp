#include "Models/FileEntrySort.h"

#include <QCollator>

#include <algorithm>
#include <thread>

namespace {

QCollator makeCollator()
{
    // The C locale collates by code point and ignores numeric mode; people read
    // names in a language, so fall back to English there.
    const QLocale system;
    QCollator collator(system.language() == QLocale::C ? QLocale(QLocale::English, QLocale::UnitedStates) : system);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

// QCollator is not safe to share between threads; each thread has its own.
QCollator& threadCollator()
{
    thread_local QCollator collator = makeCollator();
    return collator;
}

struct Item {
    const FileEntryRef* ref;
    const QCollatorSortKey* nameKey;
    const QCollatorSortKey* textKey; // kind or version
    std::optional<qint64> number;
    bool countsAsFolder;
};

bool countsAsFolder(const FileEntry& entry, bool groupAliases)
{
    return entry.isDirectory || (groupAliases && (entry.isAlias || entry.isSymbolicLink) && entry.resolvedIsDirectory);
}

std::optional<qint64> msecs(const std::optional<QDateTime>& date)
{
    if (!date) return std::nullopt;
    return date->toMSecsSinceEpoch();
}

std::optional<qint64> numberFor(const FileEntry& entry, FileEntrySortColumn column,
                                const FileEntrySort::NumberProvider& size, const FileEntrySort::NumberProvider& count)
{
    switch (column) {
    case FileEntrySortColumn::size: return size ? size(entry) : entry.byteSize;
    case FileEntrySortColumn::contents: return count ? count(entry) : std::nullopt;
    case FileEntrySortColumn::modified: return msecs(entry.modificationDate);
    case FileEntrySortColumn::created: return msecs(entry.creationDate);
    case FileEntrySortColumn::lastOpened: return msecs(entry.contentAccessDate);
    case FileEntrySortColumn::added: return msecs(entry.addedDate);
    default: return std::nullopt;
    }
}

const std::optional<QString>& textFor(const FileEntry& entry, FileEntrySortColumn column)
{
    return column == FileEntrySortColumn::kind ? entry.localizedKind : entry.version;
}

bool isTextColumn(FileEntrySortColumn column)
{
    return column == FileEntrySortColumn::kind || column == FileEntrySortColumn::version;
}

class Comparator {
public:
    Comparator(const FileEntrySort::Options& options, bool hasContentProvider)
        : o_(options), hasContentProvider_(hasContentProvider),
          grouping_(options.smartSorting && options.column != FileEntrySortColumn::size
                    && options.column != FileEntrySortColumn::contents)
    {
    }

    bool operator()(const Item& l, const Item& r) const
    {
        if (grouping_ && l.countsAsFolder != r.countsAsFolder) return l.countsAsFolder;
        switch (o_.column) {
        case FileEntrySortColumn::name: {
            const int c = l.nameKey->compare(*r.nameKey);
            return o_.ascending ? c < 0 : c > 0;
        }
        case FileEntrySortColumn::kind:
        case FileEntrySortColumn::version: {
            if (l.textKey && !r.textKey) return true;
            if (!l.textKey && r.textKey) return false;
            if (!l.textKey) return tieBreak(l, r);
            const int c = l.textKey->compare(*r.textKey);
            if (c == 0) return tieBreak(l, r);
            return o_.ascending ? c < 0 : c > 0;
        }
        case FileEntrySortColumn::contents:
            if (!hasContentProvider_) return tieBreak(l, r);
            [[fallthrough]];
        default:
            if (!l.number) return r.number ? false : tieBreak(l, r);
            if (!r.number) return true;
            if (*l.number == *r.number) return tieBreak(l, r);
            return o_.ascending ? *l.number < *r.number : *r.number < *l.number;
        }
    }

private:
    static bool tieBreak(const Item& l, const Item& r) { return l.nameKey->compare(*r.nameKey) < 0; }

    FileEntrySort::Options o_;
    bool hasContentProvider_;
    bool grouping_;
};

// Fills `cache` with keys for every name (and kind/version text) it lacks,
// collating on two threads when there are many.
void fillKeys(const FileEntryList& entries, FileEntrySortColumn column, FileEntrySort::KeyCache& cache)
{
    QStringList missing;
    QSet<QString> seen;
    auto want = [&](const QString& text) {
        if (!cache.contains(text) && !seen.contains(text)) {
            seen.insert(text);
            missing.append(text);
        }
    };
    for (const auto& entry : entries) {
        want(entry->name);
        if (isTextColumn(column))
            if (const auto& text = textFor(*entry, column)) want(*text);
    }
    if (missing.isEmpty()) return;
    std::vector<std::optional<QCollatorSortKey>> keys(missing.size());
    auto work = [&](qsizetype begin, qsizetype end) {
        QCollator& collator = threadCollator();
        for (qsizetype i = begin; i < end; ++i) keys[i] = collator.sortKey(missing[i]);
    };
    if (missing.size() >= 4096) {
        const qsizetype half = missing.size() / 2;
        std::jthread helper(work, half, missing.size());
        work(0, half);
    } else {
        work(0, missing.size());
    }
    cache.reserve(cache.size() + missing.size());
    for (qsizetype i = 0; i < missing.size(); ++i) cache.insert(missing[i], *keys[i]);
}

Item makeItem(const FileEntryRef& ref, const FileEntrySort::Options& o, const FileEntrySort::KeyCache& cache,
              const FileEntrySort::NumberProvider& size, const FileEntrySort::NumberProvider& count)
{
    Item item {&ref, &*cache.constFind(ref->name), nullptr, std::nullopt,
               countsAsFolder(*ref, o.groupFolderAliasesWithFolders)};
    if (isTextColumn(o.column)) {
        if (const auto& text = textFor(*ref, o.column)) item.textKey = &*cache.constFind(*text);
    } else {
        item.number = numberFor(*ref, o.column, size, count);
    }
    return item;
}

} // namespace

bool FileEntrySort::order(const FileEntry& lhs, const FileEntry& rhs, const Options& options,
                          const NumberProvider& sizeProvider, const NumberProvider& contentCountProvider)
{
    FileEntryList pair {std::make_shared<const FileEntry>(lhs), std::make_shared<const FileEntry>(rhs)};
    KeyCache cache;
    fillKeys(pair, options.column, cache);
    const Item l = makeItem(pair[0], options, cache, sizeProvider, contentCountProvider);
    const Item r = makeItem(pair[1], options, cache, sizeProvider, contentCountProvider);
    return Comparator(options, bool(contentCountProvider))(l, r);
}

FileEntryList FileEntrySort::sorted(const FileEntryList& entries, const Options& options,
                                    const NumberProvider& sizeProvider, const NumberProvider& contentCountProvider,
                                    KeyCache* cache)
{
    KeyCache local;
    KeyCache& keys = cache ? *cache : local;
    fillKeys(entries, options.column, keys);
    std::vector<Item> items;
    items.reserve(entries.size());
    for (const auto& entry : entries) items.push_back(makeItem(entry, options, keys, sizeProvider, contentCountProvider));
    std::stable_sort(items.begin(), items.end(), Comparator(options, bool(contentCountProvider)));
    FileEntryList out;
    out.reserve(items.size());
    for (const Item& item : items) out.push_back(*item.ref);
    return out;
}

int FileEntrySort::compareNames(const QString& a, const QString& b)
{
    return threadCollator().compare(a, b);
}
