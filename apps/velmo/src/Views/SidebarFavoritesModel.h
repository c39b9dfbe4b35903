#pragma once

#include <QAbstractListModel>
#include <QPointer>
#include <QUuid>

class VelmoStore;

// The favorites as list rows: name, theme icon, path as tool tip. Rows drag as
// their id only (never as files), so dropping a favorite on a pane can't move
// the folder it stands for.
class SidebarFavoritesModel : public QAbstractListModel {
    Q_OBJECT

public:
    static constexpr int IDRole = Qt::UserRole + 1;
    static const QString dragMimeType;

    explicit SidebarFavoritesModel(VelmoStore* app, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDragActions() const override { return Qt::MoveAction; }

    int rowOf(const QUuid& id) const;

private:
    QPointer<VelmoStore> app_;
};
