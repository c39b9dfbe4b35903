#include "Views/EditCommandRouter.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTextEdit>

namespace EditCommandRouter {

namespace {

template <typename Editor>
void edit(Editor* editor, Command command)
{
    switch (command) {
    case Command::cut: editor->cut(); break;
    case Command::copy: editor->copy(); break;
    case Command::paste: editor->paste(); break;
    case Command::undo: editor->undo(); break;
    case Command::selectAll: editor->selectAll(); break;
    case Command::deleteForward:
        if constexpr (std::is_same_v<Editor, QLineEdit>) {
            editor->del();
        } else {
            QTextCursor cursor = editor->textCursor();
            cursor.deleteChar();
            editor->setTextCursor(cursor);
        }
        break;
    }
}

} // namespace

void perform(Command command, const std::function<void()>& fileFallback)
{
    QWidget* focus = QApplication::focusWidget();
    if (auto* spin = qobject_cast<QAbstractSpinBox*>(focus)) focus = spin->findChild<QLineEdit*>();
    if (auto* line = qobject_cast<QLineEdit*>(focus)) return edit(line, command);
    if (auto* text = qobject_cast<QTextEdit*>(focus)) return edit(text, command);
    if (auto* plain = qobject_cast<QPlainTextEdit*>(focus)) return edit(plain, command);
    if (fileFallback) fileFallback();
}

} // namespace EditCommandRouter
