#include "State/FilePaneStore.h"

#include "PathKit/FilePaths.h"
#include "Support/VolumeNames.h"

void FilePaneStore::setSelectedEntryIDs(const QSet<QString>& ids)
{
    if (selectedEntryIDs_ == ids) return;
    selectedEntryIDs_ = ids;
    emit selectionChanged();
}

FileEntryList FilePaneStore::selectedEntries() const
{
    FileEntryList selected;
    if (selectedEntryIDs_.isEmpty()) return selected;
    for (const auto& row : treeRows_)
        if (selectedEntryIDs_.contains(row.entry->id)) selected.push_back(row.entry);
    return selected;
}

QList<BreadcrumbItem> FilePaneStore::breadcrumbs(const QString& url)
{
    QList<BreadcrumbItem> items {{QStringLiteral("/"), VolumeNames::rootVolumeName(), QStringLiteral("/")}};
    QString path;
    for (const QString& component : FilePaths::components(FilePaths::standardized(url))) {
        path += u'/' + component;
        items.append({path, FilePaths::displayName(component), path});
    }
    return items;
}

void FilePaneStore::updateBreadcrumbTrail()
{
    const QString current = FilePaths::standardized(currentURL_);
    if (shouldResetBreadcrumbTrailOnNextURLChange_ || !FilePaths::isAncestorOrSelf(current, breadcrumbTrailURL_))
        breadcrumbTrailURL_ = current;
    shouldResetBreadcrumbTrailOnNextURLChange_ = false;
    auto items = breadcrumbs(breadcrumbTrailURL_);
    if (items != breadcrumbs_) breadcrumbs_ = std::move(items);
    emit breadcrumbsChanged();
}

void FilePaneStore::collapseBreadcrumbTrail(const QString& url)
{
    breadcrumbTrailURL_ = FilePaths::standardized(url);
    breadcrumbs_ = breadcrumbs(breadcrumbTrailURL_);
    shouldResetBreadcrumbTrailOnNextURLChange_ = false;
    emit breadcrumbsChanged();
    notifyRestorableStateChanged();
}

void FilePaneStore::showActionToast(const QString& text, ToastMessage::Kind kind)
{
    const ToastMessage toast {QUuid::createUuid(), text, kind};
    actionToast_ = toast;
    emit toastChanged();
    // No queue: a new toast replaces the old one and lives its own full time; the
    // old one's dismissal finds another toast and leaves it.
    services_.clock->runAfter(kToastLifetimeNanoseconds, this, [this, id = toast.id] {
        if (actionToast_ && actionToast_->id == id) dismissActionToast();
    });
}

void FilePaneStore::dismissActionToast()
{
    if (!actionToast_) return;
    actionToast_.reset();
    emit toastChanged();
}
