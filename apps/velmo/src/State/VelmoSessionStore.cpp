#include "State/VelmoSessionStore.h"

VelmoSessionStore::VelmoSessionStore(std::shared_ptr<DefaultsStore> defaults, PathRestorer restorePath)
    : defaults_(std::move(defaults)), restorePath_(std::move(restorePath))
{
}

std::optional<VelmoSessionState> VelmoSessionStore::load()
{
    const auto bytes = defaults_->data(key);
    if (!bytes) return std::nullopt;
    auto decoded = VelmoSessionState::decode(*bytes);
    if (!decoded) return std::nullopt;
    lastSaved_ = *bytes;
    if (!restorePath_) return decoded;
    VelmoSessionState migrated = *decoded;
    for (auto& tab : migrated.tabs) {
        std::visit(
            [this](auto& record) {
                using Record = std::decay_t<decltype(record)>;
                if constexpr (std::is_same_v<Record, VelmoSessionState::BrowserTab>) {
                    record.leftPath = restorePath_(record.leftPath, true);
                    record.rightPath = restorePath_(record.rightPath, true);
                } else if constexpr (std::is_same_v<Record, VelmoSessionState::SearchTab>
                                     || std::is_same_v<Record, VelmoSessionState::SizeMapTab>) {
                    record.folderPath = restorePath_(record.folderPath, true);
                } else {
                    for (QString& path : record.sourcePaths) path = restorePath_(path, false);
                }
            },
            tab);
    }
    if (migrated != *decoded) save(migrated);
    return migrated;
}

void VelmoSessionStore::save(const VelmoSessionState& state)
{
    const QByteArray bytes = state.encode();
    // Refreshes of a pane's folder report too; an unchanged document isn't written again.
    if (bytes == lastSaved_) return;
    defaults_->setData(key, bytes);
    defaults_->flush();
    lastSaved_ = bytes;
}
