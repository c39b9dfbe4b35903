#pragma once

#include <QPointer>
#include <QWidget>

class VelmoStore;

// The settings tab.
class SettingsView : public QWidget {
    Q_OBJECT

public:
    explicit SettingsView(VelmoStore* store, QWidget* parent = nullptr);

private:
    QPointer<VelmoStore> store_;
};
