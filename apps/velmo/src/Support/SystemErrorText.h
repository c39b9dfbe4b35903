#pragma once

#include <QString>

// One sentence for a failed system call about `path`, in the user's words:
// "Access denied: /x", "An item named “a.txt” already exists.", "The disk is
// full.", ... and for anything else the system's own text.
namespace SystemErrorText {
QString describe(int code, const QString& path);
}
