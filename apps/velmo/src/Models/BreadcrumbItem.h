#pragma once

#include <QString>

struct BreadcrumbItem {
    QString id;
    QString title;
    QString url;

    bool operator==(const BreadcrumbItem&) const = default;
};
