#pragma once

#include <QQuickImageProvider>

// Draws the interface's icons in the colour of their context: "image://icon/NAME/RRGGBB"
// renders the symbol NAME (the table in icons.tsv) with its strokes in that colour, so one
// SVG serves both readings and every state.
class IconProvider : public QQuickImageProvider {
public:
    IconProvider();

    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;

    // The SVG text of the resource, its currentColor strokes and fills in colour; empty when
    // there is no such resource.
    static QByteArray tinted(const QString &resource, const QColor &color);
};
