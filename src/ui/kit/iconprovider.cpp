#include "iconprovider.h"

#include <QColor>
#include <QFile>
#include <QPainter>
#include <QSvgRenderer>

IconProvider::IconProvider() : QQuickImageProvider(QQuickImageProvider::Image) {}

QByteArray IconProvider::tinted(const QString &resource, const QColor &color)
{
    QFile file(resource);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QByteArray svg = file.readAll();
    svg.replace("currentColor", color.name(QColor::HexRgb).toLatin1());
    if (color.alpha() < 255)
        svg.replace("<svg", "<svg opacity=\"" + QByteArray::number(color.alphaF(), 'f', 3) + '"');
    return svg;
}

QImage IconProvider::requestImage(const QString &id, QSize *size, const QSize &requestedSize)
{
    const qsizetype slash = id.lastIndexOf(u'/');
    const QString symbol = slash < 0 ? id : id.left(slash);
    QColor color(Qt::black);
    if (slash >= 0) {
        const QString hex = id.mid(slash + 1);
        color = QColor(u'#' + hex);
        if (!color.isValid())
            color = Qt::black;
    }
    const QSize target(requestedSize.width() > 0 ? requestedSize.width() : 24,
                       requestedSize.height() > 0 ? requestedSize.height() : 24);
    QImage image(target, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QSvgRenderer renderer(tinted(QStringLiteral(":/korvat/icons/") + symbol + QStringLiteral(".svg"), color));
    if (renderer.isValid()) {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter);
    }
    if (size)
        *size = target;
    return image;
}
