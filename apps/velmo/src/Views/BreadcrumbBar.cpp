#include "Views/BreadcrumbBar.h"

#include "State/FilePaneStore.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

BreadcrumbBar::BreadcrumbBar(FilePaneStore* store, QWidget* parent) : QWidget(parent), store_(store)
{
    // A deep path must not widen the pane: the bar shrinks and clips instead.
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
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
