#include "kor.h"

namespace Kor {

const QList<Token> &tokens()
{
    static const QList<Token> table = {
        {"chrome", QColor(0x0D2049), QColor(0xEFEBE2)},
        {"card", QColor(0x102249), QColor(0xFBF8F2)},
        {"control", QColor(0x16294F), QColor(0xF5F1E9)},
        {"wash", QColor(0x1B335C), QColor(0xE4DFD5)},
        {"pillFill", QColor(0x1B335C), QColor(0xE4DFD5)},
        {"line", QColor(0x1B335C), QColor(0xE4DDD0)},
        {"ink", QColor(0xF5F1E9), QColor(0x0A1B3D)},
        {"muted", QColor(0x8E99B4), QColor(0x5E6884)},
        {"pillInk", QColor(0xD8CDB8), QColor(0x0A1B3D)},
        {"success", QColor(0x3FA872), QColor(0x1C7A4A)},
        {"ionHover", QColor(0xD9953F), QColor(0xA96C22)},
        {"errFill", QColor(0x2E1A1E), QColor(0xF6E6E4)},
        {"errLine", QColor(0x5A3038), QColor(0xE4C4C0)},
        {"page", QColor(0x0A1B3D), QColor(0xF5F1E9)},
        {"ion", QColor(0xC58230), QColor(0xC58230)},
        {"onAccent", QColor(0x0A1B3D), QColor(0x0A1B3D)},
        {"inkSoft", QColor(0xE8E4DC), QColor(0x26345A)},
        {"danger", QColor(0xD2635F), QColor(0xD2635F)},
        {"badgeFill", QColor(0x3A2A18), QColor(0xF3E3D2)},
        {"badgeInk", QColor(0xD9953F), QColor(0x8A5518)},
        {"errInk", QColor(0xE39B96), QColor(0xA33A35)},
    };
    return table;
}

QFont varied(const QString &name, int weight, qreal size)
{
    QString family = name;
    if (name == QLatin1String("Inter-Medium") || name == QLatin1String("Inter-Regular")) {
        family = text;
        if (weight <= 0)
            weight = name.endsWith(QLatin1String("Medium")) ? 500 : 400;
    }
    QFont font(family);
    font.setWeight(QFont::Weight(weight > 0 ? weight : 400));
    // The design measures in screen points of a 72-per-inch grid, which on a 96 dpi desktop
    // are pixels; Qt's points are 1/72 inch. Converting keeps the design's proportions
    // while a user's larger font dpi still scales the text.
    font.setPointSizeF(size * 72.0 / 96.0);
    // Fall back to a face of the same kind when the shipped files are missing.
    font.setStyleHint(family == mono ? QFont::Monospace : QFont::SansSerif);
    // Command output must read as typed: "->" and "==>" stay arrows made of characters.
    if (family == mono)
        font.setStyleStrategy(QFont::PreferNoShaping);
    return font;
}

QFont caption()
{
    QFont font = varied(mono, 500, 9.5);
    font.setLetterSpacing(QFont::AbsoluteSpacing, 1.4);
    return font;
}

}
