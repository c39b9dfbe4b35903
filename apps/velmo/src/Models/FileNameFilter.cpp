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

FileEntryList FileNameFilter::filter(const FileEntryList& entries, const QString& filterText)
{
    const QString needle = fold(filterText.trimmed());
    if (needle.isEmpty()) return entries;
    FileEntryList kept;
    for (const auto& entry : entries) {
        auto it = folded_.constFind(entry->name);
        if (it == folded_.constEnd()) it = folded_.insert(entry->name, fold(entry->name));
        if (it->contains(needle)) kept.push_back(entry);
    }
    return kept;
}
