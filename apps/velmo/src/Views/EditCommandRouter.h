#pragma once

#include <functional>

// Edit commands reach whatever holds the focus: a text field (the filter, a
// name being edited, a dialog's field) edits its text; anywhere else the
// command acts on files.
namespace EditCommandRouter {

enum class Command { cut, copy, paste, undo, selectAll, deleteForward };

// Sends `command` to the focused text field if there is one; otherwise calls
// `fileFallback`.
void perform(Command command, const std::function<void()>& fileFallback);

} // namespace EditCommandRouter
