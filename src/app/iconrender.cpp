// Renders Korvat's SVG icon into the PNG sizes of the hicolor theme, at build time:
//   korvat_iconrender SVG OUTDIR SIZE...   writes OUTDIR/SIZExSIZE/apps/korvat.png
#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 4)
        return 2;
    QSvgRenderer renderer(args.at(1));
    if (!renderer.isValid())
        return 1;
    for (qsizetype i = 3; i < args.size(); ++i) {
        const int size = args.at(i).toInt();
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        renderer.render(&painter);
        painter.end();
        const QString dir = QStringLiteral("%1/%2x%2/apps").arg(args.at(2)).arg(size);
        if (!QDir().mkpath(dir) || !image.save(dir + QStringLiteral("/korvat.png")))
            return 1;
    }
    return 0;
}
