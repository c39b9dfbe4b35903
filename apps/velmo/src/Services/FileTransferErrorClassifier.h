#pragma once

#include "Models/FileTransferModels.h"

// Tells which failures mean "not allowed": those a copy may skip over.
class FileTransferErrorClassifier {
public:
    static bool isPermissionDenied(int errorCode);
    static bool isPermissionDenied(const FileTransferError& error);
};
