#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QtQml/qqmlregistration.h>

// A small line of recent values, each a share of the height (0 to 1), oldest on the left;
// a negative value is a step with no reading. Drawn only when the values change.
class Sparkline : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(QList<qreal> values READ values WRITE setValues NOTIFY valuesChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)

public:
    explicit Sparkline(QQuickItem *parent = nullptr);

    const QList<qreal> &values() const { return m_values; }
    void setValues(const QList<qreal> &values);
    QColor color() const { return m_color; }
    void setColor(const QColor &color);

    void paint(QPainter *painter) override;

signals:
    void valuesChanged();
    void colorChanged();

private:
    QList<qreal> m_values;
    QColor m_color;
};
