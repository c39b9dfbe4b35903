#include "Views/BreadcrumbBar.h"

#include "State/FilePaneStore.h"

#include "Views/FileDragData.h"

#include <QDragEnterEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

BreadcrumbBar::BreadcrumbBar(FilePaneStore* store, QWidget* parent) : QWidget(parent), store_(store)
{
    // A deep path must not widen the pane: the bar shrinks and clips instead.
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    setAcceptDrops(true);
    layout_ = new QHBoxLayout(this);
    layout_->setContentsMargins(0, 0, 0, 0);
    layout_->setSpacing(0);
    connect(store, &FilePaneStore::breadcrumbsChanged, this, &BreadcrumbBar::rebuild);
    connect(store, &FilePaneStore::currentURLChanged, this, &BreadcrumbBar::rebuild);
    rebuild();
}

void BreadcrumbBar::rebuild()
{
    while (QLayoutItem* item = layout_->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    if (!store_) return;
    const auto& items = store_->breadcrumbs();
    for (qsizetype i = 0; i < items.size(); ++i) {
        if (i > 0) {
            auto* separator = new QLabel(QStringLiteral("›"), this);
            separator->setEnabled(false);
            layout_->addWidget(separator);
        }
        auto* button = new QToolButton(this);
        button->setText(items[i].title);
        button->setAutoRaise(true);
        button->setToolTip(items[i].url);
        button->setObjectName(QStringLiteral("breadcrumb"));
        button->setProperty("url", items[i].url);
        const bool current = items[i].url == store_->currentURL();
        QFont font = button->font();
        font.setBold(current);
        button->setFont(font);
        // Folders below the current one are still on the trail: clicking keeps it.
        const QString url = items[i].url;
        connect(button, &QToolButton::clicked, this, [this, url] {
            if (store_) store_->navigate(url, true, true);
        });
        layout_->addWidget(button);
    }
    layout_->addStretch(1);
}

QString BreadcrumbBar::crumbAt(const QPoint& position) const
{
    for (auto* button : findChildren<QToolButton*>(QStringLiteral("breadcrumb")))
        if (button->geometry().contains(position)) return button->property("url").toString();
    return {};
}

void BreadcrumbBar::highlight(const QString& url)
{
    for (auto* button : findChildren<QToolButton*>(QStringLiteral("breadcrumb")))
        button->setDown(!url.isEmpty() && button->property("url").toString() == url);
}

void BreadcrumbBar::dragEnterEvent(QDragEnterEvent* event)
{
    if (FileDragData::paths(event->mimeData()).isEmpty()) return event->ignore();
    event->accept();
    dragMoveEvent(event);
}

void BreadcrumbBar::dragMoveEvent(QDragMoveEvent* event)
{
    const QString url = crumbAt(event->position().toPoint());
    const auto operation = url.isEmpty() ? std::nullopt : FileDragData::operation(event, url);
    highlight(operation ? url : QString());
    if (!operation) return event->ignore();
    event->setDropAction(*operation == FileDropPolicy::Operation::copy   ? Qt::CopyAction
                         : *operation == FileDropPolicy::Operation::move ? Qt::MoveAction
                                                                         : Qt::LinkAction);
    event->accept();
}

void BreadcrumbBar::dragLeaveEvent(QDragLeaveEvent*)
{
    highlight({});
}

void BreadcrumbBar::dropEvent(QDropEvent* event)
{
    highlight({});
    const QString url = crumbAt(event->position().toPoint());
    const auto operation = url.isEmpty() ? std::nullopt : FileDragData::operation(event, url);
    const QStringList paths = FileDragData::paths(event->mimeData());
    if (!operation || paths.isEmpty()) return event->ignore();
    // This program does the move; the source must not delete anything itself.
    event->setDropAction(*operation == FileDropPolicy::Operation::link ? Qt::LinkAction : Qt::CopyAction);
    event->accept();
    emit dropRequested(paths, url, *operation);
}
