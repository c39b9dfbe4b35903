// Precompiled header of velmo_core: the Qt and standard headers nearly every file uses.
#pragma once
#ifdef __cplusplus
#include <QtCore>
#include <QtGui>
#include <QtWidgets>

#include <algorithm>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <variant>
#include <vector>
#endif
