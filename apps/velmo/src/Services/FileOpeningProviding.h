#pragma once

#include <QString>

// Hands files to the desktop's applications.
class FileOpeningProviding {
public:
    virtual ~FileOpeningProviding() = default;
    // Opens `url` with its default application; false if none could be started.
    virtual bool openWithDefaultApplication(const QString& url) = 0;
};
