#pragma once

#include <QString>
#include <QUuid>

// The one short message a pane shows over its list.
struct ToastMessage {
    enum class Kind { info, error };

    QUuid id;
    QString text;
    Kind kind = Kind::info;

    bool operator==(const ToastMessage&) const = default;
};
