#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>

#include <filesystem>
#include <string_view>

namespace moritane::symbols {

/// The file of the symbol `name`: "<name>.svg" in `iconDirectory`.
QString file(const std::filesystem::path& iconDirectory, std::string_view name);

/// The symbol `name` ("<name>.svg" in `iconDirectory`, a black mask) painted in `color`, `side`
/// pixels square at the device pixel ratio `scale`; a null pixmap when the file is missing.
QPixmap pixmap(const std::filesystem::path& iconDirectory, std::string_view name, int side, const QColor& color,
               qreal scale);

/// The symbol as an icon for buttons, in `color` at the usual button sizes.
QIcon icon(const std::filesystem::path& iconDirectory, std::string_view name, const QColor& color);

}  // namespace moritane::symbols
