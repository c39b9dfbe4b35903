#pragma once

#include "Models/VelmoSessionState.h"
#include "Support/DefaultsStore.h"

#include <functional>
#include <memory>

// The session document in the defaults, under one key. Paths are passed through
// `restorePath` on loading (a home folder that moved), and a document that
// changed by it is saved again at once, so that the move is made only once.
class VelmoSessionStore {
public:
    using PathRestorer = std::function<QString(const QString& storedPath, bool isDirectory)>;

    static inline const QString key = QStringLiteral("velmo.session");

    explicit VelmoSessionStore(std::shared_ptr<DefaultsStore> defaults, PathRestorer restorePath = {});

    // Nothing when there is no document or it can't be read; a bad document stays
    // stored until the next save replaces it.
    std::optional<VelmoSessionState> load();
    // Written through to disk at once.
    void save(const VelmoSessionState& state);

private:
    std::shared_ptr<DefaultsStore> defaults_;
    PathRestorer restorePath_;
    QByteArray lastSaved_;
};
