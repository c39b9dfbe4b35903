#include "Support/SystemErrorText.h"

#include "PathKit/FilePaths.h"

#include <cerrno>
#include <cstring>

namespace {

// The sentence, then ": " and the path when there is one.
QString about(const QString& sentence, const QString& path)
{
    if (path.isEmpty()) return sentence;
    return sentence + QStringLiteral(": ") + FilePaths::displayName(path);
}

// The system's own description, in English whatever the locale, and safe on any
// thread (strerror is neither).
QString systemText(int code)
{
    const char* text = ::strerrordesc_np(code);
    if (!text) return QStringLiteral("Error ") + QString::number(code);
    return QString::fromUtf8(text);
}

} // namespace

QString SystemErrorText::describe(int code, const QString& path)
{
    switch (code) {
    case ENOENT: return about(QStringLiteral("No such file or folder"), path);
    case EACCES:
    case EPERM: return about(QStringLiteral("Access denied"), path);
    case EEXIST:
        return QStringLiteral("An item named “") + FilePaths::displayName(FilePaths::lastComponent(path))
            + QStringLiteral("” already exists.");
    case ENOSPC:
    case EDQUOT: return QStringLiteral("The disk is full.");
    case EROFS: return about(QStringLiteral("The volume is read-only"), path);
    case ENAMETOOLONG: return QStringLiteral("The name is too long.");
    case EXDEV:
        return (path.isEmpty() ? QStringLiteral("The item") : FilePaths::displayName(path))
            + QStringLiteral(" is on another volume.");
    default: return about(systemText(code), path);
    }
}
