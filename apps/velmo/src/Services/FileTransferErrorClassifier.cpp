#include "Services/FileTransferErrorClassifier.h"

#include <cerrno>

bool FileTransferErrorClassifier::isPermissionDenied(int errorCode)
{
    return errorCode == EACCES || errorCode == EPERM;
}

bool FileTransferErrorClassifier::isPermissionDenied(const FileTransferError& error)
{
    const auto* systemError = std::get_if<FileTransferSystemError>(&error);
    return systemError && isPermissionDenied(systemError->code);
}
