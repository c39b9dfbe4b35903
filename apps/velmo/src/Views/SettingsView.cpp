#include "Views/SettingsView.h"

#include "State/VelmoStore.h"
#include "Views/FilePaneTableModel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QSlider>
#include <QSpinBox>

namespace {

QLabel* noteLabel(const QString& text, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    label->setForegroundRole(QPalette::PlaceholderText);
    label->setContentsMargins(22, 0, 0, 4);
    return label;
}

QGroupBox* group(const QString& title, QWidget* parent)
{
    auto* box = new QGroupBox(title, parent);
    return box;
}

} // namespace

SettingsView::SettingsView(VelmoStore* store, QWidget* parent) : QWidget(parent), store_(store)
{
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* scroll = new QScrollArea(this);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    outer->addWidget(scroll);

    auto* page = new QWidget(scroll);
    page->setMaximumWidth(620);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(24, 18, 24, 18);
    layout->setSpacing(12);
    auto* title = new QLabel(QStringLiteral("List View Options"), page);
    QFont font = title->font();
    font.setPointSizeF(font.pointSizeF() * 1.4);
    font.setBold(true);
    title->setFont(font);
    layout->addWidget(title);
    layout->addWidget(buildAppearance());
    layout->addWidget(buildSorting());
    layout->addWidget(buildFiles());

    sections_ = new QVBoxLayout;
    sections_->setObjectName(QStringLiteral("folderLayoutSection"));
    sections_->setSpacing(12);
    layout->addLayout(sections_);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    auto* restore = new QPushButton(QStringLiteral("Restore All Defaults"), page);
    restore->setObjectName(QStringLiteral("restoreDefaults"));
    restore->setAutoDefault(false);
    connect(restore, &QPushButton::clicked, this, [this] {
        if (store_) store_->restoreViewOptionsDefaults();
    });
    buttons->addWidget(restore);
    layout->addLayout(buttons);
    layout->addStretch();

    // The page keeps a readable width, centred in a wide window.
    auto* holder = new QWidget(scroll);
    auto* centre = new QHBoxLayout(holder);
    centre->setContentsMargins(0, 0, 0, 0);
    centre->addStretch();
    centre->addWidget(page, 1);
    centre->addStretch();
    scroll->setWidget(holder);

    connect(store, &VelmoStore::viewOptionsChanged, this, &SettingsView::refresh);
    connect(store, &VelmoStore::showHiddenFilesChanged, this, &SettingsView::refresh);
    refresh();
}

void SettingsView::addSection(QWidget* section)
{
    sections_->addWidget(section);
}

QWidget* SettingsView::buildAppearance()
{
    auto* box = group(QStringLiteral("Appearance"), this);
    auto* layout = new QVBoxLayout(box);
    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);

    auto* size = new QSpinBox(box);
    size->setObjectName(QStringLiteral("fontSize"));
    size->setRange(int(VelmoViewOptions::fontSizeRange.minimum), int(VelmoViewOptions::fontSizeRange.maximum));
    size->setSuffix(QStringLiteral(" px"));
    connect(size, &QSpinBox::valueChanged, this, [this](int value) { change([value](auto& o) { o.fontSize = value; }); });
    refreshers_.push_back([size](const VelmoViewOptions& o) { size->setValue(int(o.fontSize)); });
    auto* fontRow = new QHBoxLayout;
    fontRow->addWidget(new QLabel(QStringLiteral("System Font Regular"), box));
    fontRow->addStretch();
    fontRow->addWidget(size);
    form->addRow(QStringLiteral("Font:"), fontRow);
    addSlider(box, form, QStringLiteral("Icon size:"), &VelmoViewOptions::iconSize, VelmoViewOptions::iconSizeRange,
              QStringLiteral(" px"));
    addSlider(box, form, QStringLiteral("Row spacing:"), &VelmoViewOptions::rowSpacing,
              VelmoViewOptions::rowSpacingRange, QStringLiteral(" px"));
    layout->addLayout(form);

    addSwitch(layout, "alwaysShowFileExtensions", QStringLiteral("Always show file extensions"), &VelmoViewOptions::alwaysShowFileExtensions);
    addSwitch(layout, "boldFolders", QStringLiteral("Bold folders"), &VelmoViewOptions::boldFolders);
    addSwitch(layout, "italicizeAliases", QStringLiteral("Italicize aliases"), &VelmoViewOptions::italicizeAliases);
    addSwitch(layout, "dimInvisibles", QStringLiteral("Dim hidden items"), &VelmoViewOptions::dimInvisibles);
    addSwitch(layout, "shadowed", QStringLiteral("Shadow text"), &VelmoViewOptions::shadowed);
    addSwitch(layout, "showLeadingDatesAsMonospaced", QStringLiteral("Show leading dates as mono font"), &VelmoViewOptions::showLeadingDatesAsMonospaced);
    addSwitch(layout, "useRelativeDates", QStringLiteral("Use relative dates"), &VelmoViewOptions::useRelativeDates);
    addSwitch(layout, "showIconPreviews", QStringLiteral("Show icon previews"), &VelmoViewOptions::showIconPreviews);
    addSwitch(layout, "alternateRowColors", QStringLiteral("Alternate row colors"), &VelmoViewOptions::alternateRowColors);
    addSwitch(layout, "showVerticalGrid", QStringLiteral("Show vertical grid"), &VelmoViewOptions::showVerticalGrid);
    addSwitch(layout, "showHorizontalGrid", QStringLiteral("Show horizontal grid"), &VelmoViewOptions::showHorizontalGrid);
    addSwitch(layout, "showHoverHighlight", QStringLiteral("Highlight item under pointer"), &VelmoViewOptions::showHoverHighlight);
    return box;
}

QWidget* SettingsView::buildSorting()
{
    auto* box = group(QStringLiteral("Sorting"), this);
    auto* layout = new QVBoxLayout(box);
    auto* form = new QFormLayout;
    auto* arrange = new QComboBox(box);
    arrange->setObjectName(QStringLiteral("arrangeColumn"));
    arrange->addItem(QStringLiteral("None"));
    for (const auto& info : FilePaneTableModel::allColumns())
        arrange->addItem(QString::fromLatin1(info.menuTitle), FileEntryColumns::id(info.column));
    connect(arrange, &QComboBox::activated, this, [this, arrange](int index) {
        if (store_) store_->updateArrangeColumn(FileEntryColumns::sortColumn(arrange->itemData(index).toString()));
    });
    refreshers_.push_back([arrange](const VelmoViewOptions& o) {
        arrange->setCurrentIndex(o.arrangeColumn ? std::max(0, arrange->findData(FileEntryColumns::id(*o.arrangeColumn))) : 0);
    });
    form->addRow(QStringLiteral("Arrange by:"), arrange);
    layout->addLayout(form);

    auto* ascending = new QCheckBox(QStringLiteral("Arrange ascending"), box);
    ascending->setObjectName(QStringLiteral("arrangeAscending"));
    connect(ascending, &QCheckBox::toggled, this, [this](bool on) {
        if (store_ && !refreshing_) store_->updateArrangeAscending(on);
    });
    refreshers_.push_back([ascending](const VelmoViewOptions& o) { ascending->setChecked(o.arrangeAscending); });
    layout->addWidget(ascending);
    addSwitch(layout, "smartSorting", QStringLiteral("Keep folders on top"), &VelmoViewOptions::smartSorting);
    addSwitch(layout, "sortFolderAliasesWithFolders", QStringLiteral("Sort folder aliases with folders"), &VelmoViewOptions::sortFolderAliasesWithFolders);
    return box;
}

QWidget* SettingsView::buildFiles()
{
    auto* box = group(QStringLiteral("Files"), this);
    auto* layout = new QVBoxLayout(box);
    auto* hidden = new QCheckBox(QStringLiteral("Show hidden files"), box);
    hidden->setObjectName(QStringLiteral("showHiddenFiles"));
    connect(hidden, &QCheckBox::toggled, this, [this](bool on) {
        if (store_ && !refreshing_) store_->setShowHiddenFiles(on);
    });
    refreshers_.push_back([this, hidden](const VelmoViewOptions&) {
        if (store_) hidden->setChecked(store_->showHiddenFiles());
    });
    layout->addWidget(hidden);
    addSwitch(layout, "treatPackagesAsFolders", QStringLiteral("Treat packages as folders"), &VelmoViewOptions::treatPackagesAsFolders);
    addSwitch(layout, "calculateAllSizes", QStringLiteral("Calculate all sizes"), &VelmoViewOptions::calculateAllSizes);
    addSwitch(layout, "smartCalculateFolderSizes", QStringLiteral("Smart folder sizes"), &VelmoViewOptions::smartCalculateFolderSizes,
              QStringLiteral("Small folders are sized automatically; large folders are skipped."),
              QStringLiteral("Folder sizes are shown only after manual calculation."));
    addSwitch(layout, "stopOptionArrowBeforeFileExtension", QStringLiteral("Protect file extensions"), &VelmoViewOptions::stopOptionArrowBeforeFileExtension,
              QStringLiteral("During rename, Alt-Arrow stops before the extension."));
    return box;
}

void SettingsView::addSwitch(QVBoxLayout* layout, const char* key, const QString& title, bool VelmoViewOptions::*member,
                             const QString& note, const QString& offNote)
{
    auto* box = new QCheckBox(title, layout->parentWidget());
    box->setObjectName(QString::fromLatin1(key));
    connect(box, &QCheckBox::toggled, this, [this, member](bool on) { change([&](auto& o) { o.*member = on; }); });
    layout->addWidget(box);
    QLabel* label = note.isEmpty() ? nullptr : noteLabel(note, layout->parentWidget());
    if (label) layout->addWidget(label);
    refreshers_.push_back([box, label, member, note, offNote](const VelmoViewOptions& o) {
        box->setChecked(o.*member);
        if (label) label->setText(o.*member || offNote.isEmpty() ? note : offNote);
    });
}

void SettingsView::addSlider(QWidget* parent, QFormLayout* form, const QString& title,
                             double VelmoViewOptions::*member, VelmoViewOptions::Range range, const QString& unit)
{
    auto* slider = new QSlider(Qt::Horizontal, parent);
    slider->setRange(int(range.minimum), int(range.maximum));
    slider->setPageStep(2);
    auto* value = new QLabel(parent);
    value->setMinimumWidth(value->fontMetrics().horizontalAdvance(QStringLiteral("000") + unit));
    value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    connect(slider, &QSlider::valueChanged, this, [this, member](int v) { change([&](auto& o) { o.*member = v; }); });
    refreshers_.push_back([slider, value, member, unit](const VelmoViewOptions& o) {
        slider->setValue(int(o.*member));
        value->setText(QString::number(int(o.*member)) + unit);
    });
    auto* row = new QHBoxLayout;
    row->addWidget(slider, 1);
    row->addWidget(value);
    form->addRow(title, row);
}

void SettingsView::change(const std::function<void(VelmoViewOptions&)>& edit)
{
    if (!store_ || refreshing_) return;
    VelmoViewOptions options = store_->viewOptions();
    edit(options);
    store_->setViewOptions(options);
}

void SettingsView::refresh()
{
    if (!store_) return;
    // Showing the store's values must not write them back.
    refreshing_ = true;
    for (const auto& refresher : refreshers_) refresher(store_->viewOptions());
    refreshing_ = false;
}
