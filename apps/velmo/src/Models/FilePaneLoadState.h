#pragma once

#include <QString>

// Where a pane's listing stands; `failed` carries the text shown in place of the list.
struct FilePaneLoadState {
    enum class Kind { failed, idle, loading, ready };

    Kind kind = Kind::idle;
    QString failureMessage;

    static FilePaneLoadState failed(const QString& message) { return {Kind::failed, message}; }
    static FilePaneLoadState idle() { return {Kind::idle, {}}; }
    static FilePaneLoadState loading() { return {Kind::loading, {}}; }
    static FilePaneLoadState ready() { return {Kind::ready, {}}; }

    bool isFailed() const { return kind == Kind::failed; }
    bool isLoading() const { return kind == Kind::loading; }
    bool operator==(const FilePaneLoadState&) const = default;
};
