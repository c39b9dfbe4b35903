#pragma once

#include "Services/FileOpeningProviding.h"

// Opens files with the desktop's default application for their content type.
class SystemFileOpeningService final : public FileOpeningProviding {
public:
    bool openWithDefaultApplication(const QString& url) override;
};
