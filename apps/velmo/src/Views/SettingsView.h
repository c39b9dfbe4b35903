#pragma once

#include "Models/VelmoViewOptions.h"

#include <QPointer>
#include <QWidget>

#include <functional>
#include <vector>

class QFormLayout;
class QVBoxLayout;
class VelmoStore;

// The settings tab: the list view options, hidden files, the folder layouts'
// commands and "Restore All Defaults". Every control writes through the
// application store at once and follows it back, so two ways of changing a
// setting (a control here, a command elsewhere) never disagree. Controls are
// named after the option they set, for tests and tools.
class SettingsView : public QWidget {
    Q_OBJECT

public:
    explicit SettingsView(VelmoStore* store, QWidget* parent = nullptr);

    // Adds a section (a widget of commands) under the view options, in the
    // place kept for folder layouts.
    void addSection(QWidget* section);

private:
    QWidget* buildAppearance();
    QWidget* buildSorting();
    QWidget* buildFiles();
    void addSwitch(QVBoxLayout* layout, const char* key, const QString& title, bool VelmoViewOptions::*member,
                   const QString& note = {}, const QString& offNote = {});
    void addSlider(QWidget* parent, QFormLayout* form, const QString& title, double VelmoViewOptions::*member,
                   VelmoViewOptions::Range range, const QString& unit);
    void change(const std::function<void(VelmoViewOptions&)>& edit);
    void refresh();

    QPointer<VelmoStore> store_;
    QVBoxLayout* sections_ = nullptr;
    // Each control's way of showing the current options.
    std::vector<std::function<void(const VelmoViewOptions&)>> refreshers_;
    bool refreshing_ = false;
};
