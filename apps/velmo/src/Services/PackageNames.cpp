#include "Services/PackageNames.h"

#include "CScanKit/sg_scan.h"
#include "PathKit/FilePaths.h"

bool isPackageName(QStringView name)
{
    // One rule for the panes and the size scanner.
    return sg_is_package_name(FilePaths::toNative(name).constData()) != 0;
}
