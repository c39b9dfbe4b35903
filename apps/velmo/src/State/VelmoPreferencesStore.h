#pragma once

#include "Models/VelmoViewOptions.h"
#include "Support/DefaultsStore.h"

// Typed reading and writing of the settings documents kept in the defaults.
// Borrows the defaults store; cheap to make where needed. Main thread.
class VelmoPreferencesStore {
public:
    explicit VelmoPreferencesStore(DefaultsStore& defaults) : defaults_(defaults) {}

    static inline const QString viewOptionsKey = QStringLiteral("velmo.viewOptions");

    // The stored view options, the defaults standing in for anything missing or
    // unreadable. A document from an earlier release is brought up to date and
    // written back once, so the upgrade happens a single time.
    VelmoViewOptions viewOptions();
    void saveViewOptions(const VelmoViewOptions& options);

private:
    DefaultsStore& defaults_;
};
