#include "panelplacement.h"

#include <QTest>

using PanelPlacement::Screen;

Q_DECLARE_METATYPE(QList<Screen>)

// Where the tray panel opens, for panels on every edge, with and without the icon's geometry.
class TestPanelPlacement : public QObject {
    Q_OBJECT

private slots:
    void place_data();
    void place();
};

void TestPanelPlacement::place_data()
{
    QTest::addColumn<QRect>("icon");
    QTest::addColumn<QPoint>("cursor");
    QTest::addColumn<QList<Screen>>("screens");
    QTest::addColumn<QRect>("expected");

    const QRect full(0, 0, 1920, 1080);
    const QList<Screen> top{{full, QRect(0, 32, 1920, 1048)}};
    const QList<Screen> bottom{{full, QRect(0, 0, 1920, 1040)}};
    const QList<Screen> left{{full, QRect(48, 0, 1872, 1080)}};
    const QList<Screen> right{{full, QRect(0, 0, 1872, 1080)}};
    const QList<Screen> two{{full, full}, {QRect(1920, 0, 2560, 1440), QRect(1920, 0, 2560, 1400)}};
    // The panel is 340 by 500 throughout.
    QTest::newRow("top panel, icon in the middle") << QRect(944, 4, 24, 24) << QPoint() << top << QRect(785, 36, 340, 500);
    QTest::newRow("top panel, icon at the right end, shifted in") << QRect(1890, 4, 24, 24) << QPoint() << top << QRect(1576, 36, 340, 500);
    QTest::newRow("bottom panel") << QRect(600, 1050, 24, 24) << QPoint() << bottom << QRect(441, 536, 340, 500);
    QTest::newRow("left panel") << QRect(12, 400, 24, 24) << QPoint() << left << QRect(52, 411, 340, 500);
    QTest::newRow("right panel") << QRect(1884, 300, 24, 24) << QPoint() << right << QRect(1528, 311, 340, 500);
    QTest::newRow("right panel, low icon, shifted up") << QRect(1884, 1000, 24, 24) << QPoint() << right << QRect(1528, 576, 340, 500);
    QTest::newRow("no icon geometry: the cursor") << QRect() << QPoint(1700, 10) << top << QRect(1530, 36, 340, 500);
    QTest::newRow("second screen, bottom panel") << QRect() << QPoint(3000, 1420) << two << QRect(2830, 896, 340, 500);
    QTest::newRow("first of two screens, top edge") << QRect(100, 2, 20, 20) << QPoint(3000, 1420) << two << QRect(4, 4, 340, 500);
}

void TestPanelPlacement::place()
{
    QFETCH(QRect, icon);
    QFETCH(QPoint, cursor);
    QFETCH(QList<Screen>, screens);
    QFETCH(QRect, expected);
    QCOMPARE(PanelPlacement::place(icon, cursor, screens, QSize(340, 500)), expected);
}

QTEST_GUILESS_MAIN(TestPanelPlacement)
#include "tst_panelplacement.moc"
