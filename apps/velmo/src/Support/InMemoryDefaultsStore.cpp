#include "Support/InMemoryDefaultsStore.h"

std::optional<QVariant> InMemoryDefaultsStore::value(const QString& key) const
{
    auto it = values_.find(key);
    if (it == values_.end()) return std::nullopt;
    return *it;
}
