#include "State/VelmoPreferencesStore.h"

VelmoViewOptions VelmoPreferencesStore::viewOptions()
{
    const std::optional<QByteArray> data = defaults_.data(viewOptionsKey);
    if (!data) return VelmoViewOptions::defaults();
    const VelmoViewOptions decoded = VelmoViewOptions::decode(*data);
    const VelmoViewOptions migrated = VelmoViewOptions::migrateLegacy(decoded);
    if (migrated != decoded) saveViewOptions(migrated);
    return migrated;
}

void VelmoPreferencesStore::saveViewOptions(const VelmoViewOptions& options)
{
    defaults_.setData(viewOptionsKey, options.encode());
}
