#include "Views/SettingsView.h"

#include "State/VelmoStore.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QLabel>

SettingsView::SettingsView(VelmoStore* store, QWidget* parent) : QWidget(parent), store_(store)
{
    auto* layout = new QFormLayout(this);
    auto* title = new QLabel(QStringLiteral("Settings"), this);
    QFont font = title->font();
    font.setPointSizeF(font.pointSizeF() * 1.4);
    font.setBold(true);
    title->setFont(font);
    layout->addRow(title);
    auto* hidden = new QCheckBox(QStringLiteral("Show hidden files"), this);
    hidden->setChecked(store->showHiddenFiles());
    connect(hidden, &QCheckBox::toggled, store, &VelmoStore::setShowHiddenFiles);
    connect(store, &VelmoStore::showHiddenFilesChanged, hidden, [hidden, store] {
        hidden->setChecked(store->showHiddenFiles());
    });
    layout->addRow(hidden);
}
