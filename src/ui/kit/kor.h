#pragma once

#include <QColor>
#include <QFont>
#include <QList>
#include <QString>

// The design language's colour tokens and faces. Each token has one value per reading:
// Paper (light) and Obsidian (dark).
//
// Besides the thirteen given tokens, the remaining ones are assigned so that every pair
// reads at 4.5:1 or better where it carries text:
//   page      #0A1B3D / #F5F1E9   the window background, one step below the chrome
//   ion       #C58230 in both      the accent; dark ink sits on it in both readings
//   onAccent  #0A1B3D in both      text on ion, ionHover and danger fills
//   inkSoft   #E8E4DC / #26345A   long monospaced text such as the console transcript
//   danger    #D2635F in both      destructive buttons and failed containers
//   badgeFill #3A2A18 / #F3E3D2   update badges and the update banner
//   badgeInk  #D9953F / #8A5518   text on badgeFill
//   errInk    #E39B96 / #A33A35   error text on errFill
namespace Kor {

enum class Reading { Paper, Obsidian };

struct Token {
    const char *name;
    QColor obsidian;
    QColor paper;

    QColor in(Reading reading) const { return reading == Reading::Obsidian ? obsidian : paper; }
};

const QList<Token> &tokens();

// The family names the registered font files declare.
inline const QString heading = QStringLiteral("Space Grotesk");
inline const QString text = QStringLiteral("Inter");
inline const QString mono = QStringLiteral("JetBrains Mono");

// A font of the named face at a numeric weight (400, 500, 600…) and a size in points.
// "Inter-Medium" and "Inter-Regular" name the text face at their weight when none is given.
QFont varied(const QString &name, int weight, qreal size);
// Section captions: the monospaced face, 500 at 9.5, letter-spaced.
QFont caption();

}
