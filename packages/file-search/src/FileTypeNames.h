#pragma once

#include <QString>

#include <string>
#include <string_view>
#include <unordered_map>

// What the search learns of a file's type from its name, through the shared MIME
// database. Answers are cached by the name's extension (the text after its last dot),
// since asking the database costs microseconds and a walk meets the same few
// extensions again and again. One instance per thread.
//
// Text, for content search, is a type that is or inherits text/plain, JSON or XML
// (source code, scripts, markup, SVG, CSV ...). A name that says nothing (no extension,
// or one the database doesn't know, such as ".ini" or ".conf") is `unknown`: the search
// then looks at the first 4 KiB and takes the file for text unless they hold a NUL
// byte without a UTF-16 byte-order mark.
class FileTypeNames {
public:
    enum class Content { text, other, unknown };

    Content contentByName(std::string_view name);
    // The type's description ("plain text document"), for results only.
    QString kindByName(std::string_view name);
    static QString folderKind() { return QStringLiteral("Folder"); }
    // Loads the MIME database on the calling thread, if nobody has yet.
    static void prepare();

private:
    std::unordered_map<std::string, Content> contentByExtension_;
    std::unordered_map<std::string, QString> kindByKey_;
};
