#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringList>

#include <optional>

// Local paths as `file://` URIs and the two lists desktops put on the clipboard,
// byte for byte: a name's bytes are percent-encoded, never passed through a text
// codec, so names that are not UTF-8 survive the round trip.
namespace FileURIList {

// Every byte but the unreserved ones (letters, digits, "-._~") and "/" as %XX.
QByteArray percentEncoded(QByteArrayView bytes);
// %XX escapes back to bytes; a "%" not followed by two hex digits stays as it is.
QByteArray percentDecoded(QByteArrayView text);

// "file:///a%20b" for the absolute path "/a b".
QByteArray uri(const QString& path);
// The absolute path a `file:` URI names, or nothing when it names another host
// (anything but none or "localhost"), another scheme, no absolute path, or
// holds a NUL byte, which no path can.
std::optional<QString> path(QByteArrayView uri);

// `text/uri-list`: one URI a line, each ended by CRLF.
QByteArray uriList(const QStringList& paths);
// The local files of a `text/uri-list` (CRLF or LF lines, "#" comments);
// other URIs are skipped.
QStringList pathsInURIList(QByteArrayView list);

// The `x-special/gnome-copied-files` form: "copy" or "cut", then one URI a line.
struct CopiedFiles {
    bool isCut = false;
    QStringList paths;
};
QByteArray copiedFiles(const QStringList& paths, bool isCut);
// Nothing when the first line is neither "copy" nor "cut".
std::optional<CopiedFiles> parseCopiedFiles(QByteArrayView text);

} // namespace FileURIList
