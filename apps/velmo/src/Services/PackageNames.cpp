#include "Services/PackageNames.h"

bool isPackageName(QStringView name)
{
    static const char16_t* const suffixes[] = {
        u".app", u".framework", u".bundle", u".plugin", u".kext", u".appex", u".xpc",
        u".qlgenerator", u".mdimporter", u".prefPane", u".component", u".saver", u".pkg",
    };
    if (name.size() < 4) return false;
    for (const char16_t* suffix : suffixes)
        if (name.endsWith(QStringView(suffix), Qt::CaseInsensitive)) return true;
    return false;
}
