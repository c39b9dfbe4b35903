#pragma once

#include "Models/PaneID.h"

#include <QString>

#include <optional>

// One line of the activity strip: an operation some pane is running.
struct FileActivityItem {
    QString id;
    QString title;
    QString detail;
    std::optional<double> progressFraction;
    bool isCancellable = false;
    bool isCancelling = false;
    // The pane whose transfer the Cancel button stops, when it can be stopped.
    std::optional<PaneID> cancelTransferOfPane;

    bool operator==(const FileActivityItem&) const = default;
};
