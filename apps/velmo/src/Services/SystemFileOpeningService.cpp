#include "Services/SystemFileOpeningService.h"

#include "PathKit/FilePaths.h"

#undef signals
#include <gio/gio.h>
#define signals Q_SIGNALS

bool SystemFileOpeningService::openWithDefaultApplication(const QString& url)
{
    // The path goes to GIO as bytes, so names that are not UTF-8 still open.
    GFile* file = g_file_new_for_path(FilePaths::toNative(url).constData());
    char* uri = g_file_get_uri(file);
    GError* error = nullptr;
    const gboolean launched = g_app_info_launch_default_for_uri(uri, nullptr, &error);
    if (error) g_error_free(error);
    g_free(uri);
    g_object_unref(file);
    return launched;
}
