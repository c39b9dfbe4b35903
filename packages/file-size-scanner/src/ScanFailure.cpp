#include "FileSizeScanner/ScanFailure.h"

namespace {

template <class... Handlers> struct Overloaded : Handlers... {
    using Handlers::operator()...;
};

} // namespace

QString ScanFailure::message() const
{
    return std::visit(Overloaded {
                          [](const RootInaccessible& failure) {
                              return QStringLiteral("Could not access folder: ") + failure.url;
                          },
                          [](const IoError& failure) {
                              return QStringLiteral("An I/O error occurred while scanning: ") + failure.url;
                          },
                          [](const BookmarkResolutionFailed&) {
                              return QStringLiteral("Stored folder access could not be restored.");
                          },
                      },
                      value);
}
