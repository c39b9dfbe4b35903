#include "Models/FileActionModels.h"

#include "Support/SystemErrorText.h"

QString FileActionError::localizedDescription() const
{
    return SystemErrorText::describe(code, path);
}
