#include "Models/FileEntrySort.h"

#include "Models/NameCollator.h"

#include <QHash>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <thread>

namespace {

struct Item {
    const FileEntryRef* ref;
    int nameRank;
    int textRank; // kind or version; -1 when absent
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

bool isTextColumn(FileEntrySortColumn column)
{
    return column == FileEntrySortColumn::kind || column == FileEntrySortColumn::version;
}

const std::optional<QString>& textFor(const FileEntry& entry, FileEntrySortColumn column)
{
    return column == FileEntrySortColumn::kind ? entry.localizedKind : entry.version;
}

// Ranks of the few distinct kinds or versions, by the same collation as names.
QHash<QString, int> textRanks(const FileEntryList& entries, FileEntrySortColumn column)
{
    QStringList distinct;
    QHash<QString, int> ranks;
    for (const auto& entry : entries)
        if (const auto& text = textFor(*entry, column); text && !ranks.contains(*text)) {
            ranks.insert(*text, 0);
            distinct.append(*text);
        }
    NameCollator& collator = NameCollator::forThisThread();
    std::sort(distinct.begin(), distinct.end(),
              [&](const QString& a, const QString& b) { return collator.compare(a, b) < 0; });
    int rank = 0;
    for (qsizetype i = 0; i < distinct.size(); ++i) {
        if (i > 0 && collator.compare(distinct[i - 1], distinct[i]) != 0) ++rank;
        ranks[distinct[i]] = rank;
    }
    return ranks;
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
        case FileEntrySortColumn::name:
            return o_.ascending ? l.nameRank < r.nameRank : l.nameRank > r.nameRank;
        case FileEntrySortColumn::kind:
        case FileEntrySortColumn::version:
            if (l.textRank >= 0 && r.textRank < 0) return true;
            if (l.textRank < 0 && r.textRank >= 0) return false;
            if (l.textRank == r.textRank) return tieBreak(l, r);
            return o_.ascending ? l.textRank < r.textRank : l.textRank > r.textRank;
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
    static bool tieBreak(const Item& l, const Item& r) { return l.nameRank < r.nameRank; }

    FileEntrySort::Options o_;
    bool hasContentProvider_;
    bool grouping_;
};

} // namespace

FileEntrySort::NameRanks FileEntrySort::nameRanks(const FileEntryList& entries)
{
    const std::size_t n = entries.size();
    std::vector<std::size_t> offsets(n);
    std::string arenas[2];
    auto collate = [&](int arena, std::size_t begin, std::size_t end) {
        NameCollator& collator = NameCollator::forThisThread();
        arenas[arena].reserve((end - begin) * 24);
        for (std::size_t i = begin; i < end; ++i) offsets[i] = collator.appendKey(entries[i]->name, arenas[arena]);
    };
    const std::size_t half = n >= 4096 ? n / 2 : n;
    if (half < n) {
        std::jthread helper(collate, 1, half, n);
        collate(0, 0, half);
    } else {
        collate(0, 0, n);
    }
    std::vector<const char*> keys(n);
    for (std::size_t i = 0; i < n; ++i) keys[i] = (i < half ? arenas[0] : arenas[1]).data() + offsets[i];

    std::vector<int> order(n);
    std::iota(order.begin(), order.end(), 0);
    std::sort(order.begin(), order.end(), [&](int a, int b) { return std::strcmp(keys[a], keys[b]) < 0; });
    NameRanks ranks(n);
    int rank = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (i > 0 && std::strcmp(keys[order[i - 1]], keys[order[i]]) != 0) ++rank;
        ranks[order[i]] = rank;
    }
    return ranks;
}

bool FileEntrySort::order(const FileEntry& lhs, const FileEntry& rhs, const Options& options,
                          const NumberProvider& sizeProvider, const NumberProvider& contentCountProvider)
{
    FileEntryList pair {std::make_shared<const FileEntry>(lhs), std::make_shared<const FileEntry>(rhs)};
    FileEntryList result = sorted(pair, options, sizeProvider, contentCountProvider);
    // Stable: rhs stands first only if it must, and lhs goes before only if rhs can't.
    if (result[0] != pair[0]) return false;
    const FileEntryList reversed = sorted({pair[1], pair[0]}, options, sizeProvider, contentCountProvider);
    return reversed[0] == pair[0];
}

FileEntryList FileEntrySort::sorted(const FileEntryList& entries, const Options& options,
                                    const NumberProvider& sizeProvider, const NumberProvider& contentCountProvider,
                                    const NameRanks* ranks)
{
    NameRanks computed;
    if (!ranks || ranks->size() != entries.size()) {
        computed = nameRanks(entries);
        ranks = &computed;
    }
    const bool text = isTextColumn(options.column);
    const QHash<QString, int> texts = text ? textRanks(entries, options.column) : QHash<QString, int>();
    std::vector<Item> items;
    items.reserve(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const FileEntry& entry = *entries[i];
        Item item {&entries[i], (*ranks)[i], -1, std::nullopt, countsAsFolder(entry, options.groupFolderAliasesWithFolders)};
        if (text) {
            if (const auto& value = textFor(entry, options.column)) item.textRank = texts.value(*value);
        } else if (options.column != FileEntrySortColumn::name) {
            item.number = numberFor(entry, options.column, sizeProvider, contentCountProvider);
        }
        items.push_back(item);
    }
    std::stable_sort(items.begin(), items.end(), Comparator(options, bool(contentCountProvider)));
    FileEntryList out;
    out.reserve(items.size());
    for (const Item& item : items) out.push_back(*item.ref);
    return out;
}

int FileEntrySort::compareNames(const QString& a, const QString& b)
{
    return NameCollator::forThisThread().compare(a, b);
}
