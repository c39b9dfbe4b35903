#pragma once

#include <QString>

// Names of volumes as a person knows them.
class VolumeNames {
public:
    // The root file system's label, else "Computer"; read once per process.
    static QString rootVolumeName();
    // The label of the file system whose block device is `devicePath`, if it has one.
    static QString labelForDevice(const QString& devicePath);
};
