#pragma once

#include <QQuickImageProvider>

// Draws the interface's icons in the colour of their context: "image://icon/NAME/RRGGBB"
// renders the symbol NAME (the table in icons.tsv) with its strokes in that colour, so one
// SVG serves both readings and every state.
class IconProvider : public QQuickImageProvider {
public:
    IconProvider();

    QImage requestImage(const QString &id, QSize *size, const QSize &requestedSize) override;

    // The SVG text of a symbol drawn in colour, or empty for an unknown symbol.
    static QByteArray tinted(const QString &symbol, const QColor &color);
};
