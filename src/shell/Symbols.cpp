#include "shell/Symbols.h"

#include <QFile>
#include <QGuiApplication>
#include <QPainter>

#include <cmath>
#include <string>

namespace moritane::symbols {

QString file(const std::filesystem::path& iconDirectory, std::string_view name) {
    return QString::fromStdString((iconDirectory / (std::string(name) + ".svg")).string());
}

QPixmap pixmap(const std::filesystem::path& iconDirectory, std::string_view name, int side, const QColor& color,
               qreal scale) {
    const auto path = file(iconDirectory, name);
    if (!QFile::exists(path)) {
        return {};
    }
    const int pixels = static_cast<int>(std::ceil(side * scale));
    QPixmap painted = QIcon(path).pixmap(pixels, pixels);
    if (painted.isNull()) {
        return {};
    }
    // The files are masks: keep their shape and give it the colour.
    QPainter painter(&painted);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(painted.rect(), color);
    painter.end();
    painted.setDevicePixelRatio(scale);
    return painted;
}

QIcon icon(const std::filesystem::path& iconDirectory, std::string_view name, const QColor& color) {
    QIcon result;
    const qreal scale = qApp != nullptr ? qApp->devicePixelRatio() : 1.0;
    for (const int side : {16, 24, 32, 48}) {
        if (const auto painted = pixmap(iconDirectory, name, side, color, scale); !painted.isNull()) {
            result.addPixmap(painted);
        }
    }
    return result;
}

}  // namespace moritane::symbols
