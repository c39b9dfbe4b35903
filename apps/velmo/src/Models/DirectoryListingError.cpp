#include "Models/DirectoryListingError.h"

#include <cerrno>
#include <cstring>

DirectoryListingError DirectoryListingError::fromErrno(int error, const QString& url)
{
    switch (error) {
    case ENOENT:
        return {NotFound {url}};
    case EACCES:
    case EPERM:
        return {AccessDenied {url}};
    default:
        return {Unreadable {url, QString::fromLocal8Bit(std::strerror(error))}};
    }
}
