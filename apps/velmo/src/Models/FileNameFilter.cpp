#include "Models/FileNameFilter.h"

QString FileNameFilter::fold(const QString& text)
{
    bool plain = true;
    for (QChar ch : text)
        if (ch.unicode() >= 0x80) {
            plain = false;
            break;
        }
    if (plain) return text.toLower();
    const QString decomposed = text.normalized(QString::NormalizationForm_KD);
    QString out;
    out.reserve(decomposed.size());
    for (QChar ch : decomposed) {
        const auto category = ch.category();
        if (category == QChar::Mark_NonSpacing || category == QChar::Mark_SpacingCombining
            || category == QChar::Mark_Enclosing)
            continue;
        out.append(ch);
    }
    return out.toCaseFolded();
}

void FileNameFilter::clearCache()
{
    folded_.clear();
    lastSource_.clear();
    lastFolded_.clear();
}

FileEntryList FileNameFilter::filter(const FileEntryList& entries, const QString& filterText)
{
    const QString needle = fold(filterText.trimmed());
    if (needle.isEmpty()) return entries;
    if (lastSource_ != entries) {
        lastFolded_.clear();
        lastFolded_.reserve(entries.size());
        for (const auto& entry : entries) {
            auto it = folded_.constFind(entry->name);
            if (it == folded_.constEnd()) it = folded_.insert(entry->name, fold(entry->name));
            lastFolded_.push_back(*it);
        }
        lastSource_ = entries;
    }
    FileEntryList kept;
    for (std::size_t i = 0; i < entries.size(); ++i)
        if (lastFolded_[i].contains(needle)) kept.push_back(entries[i]);
    return kept;
}
