#include "appstore.h"
#include "desktop.h"
#include "shell.h"
#include "testsupport.h"

#include <QAbstractItemModelTester>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>

using namespace TestSupport;

namespace {
// QTest types whole strings only into widgets.
void typeText(QWindow *window, const QString &text)
{
    for (const QChar c : text)
        QTest::keyClick(window, c.toLatin1());
}

// The container names of the rows the list view shows.
QStringList shownTitles(QQuickItem *list)
{
    QStringList titles;
    const auto content = list->property("contentItem").value<QQuickItem *>();
    for (QQuickItem *row : content->childItems()) {
        if (row->property("containerId").isValid() && row->isVisible())
            titles << row->property("name").toString();
    }
    return titles;
}
}

// The real main window over a real store on the private engine.
class WindowLive : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        REQUIRE_ENGINE();
        Desktop::prepareApplication();
    }
    void containersAppearNarrowAndLeave();
    // A refresh still listing when the process ends leaves worker threads that deadlock
    // LeakSanitizer's exit check.
    void cleanupTestCase() { AppStore::workers()->waitForDone(60000); }

private:
    QTemporaryDir m_dir;
};

void WindowLive::containersAppearNarrowAndLeave()
{
    QSettings settings(m_dir.filePath(QStringLiteral("s.conf")), QSettings::IniFormat);
    settings.setValue(QStringLiteral("checkUpdatesAtLaunch"), false);
    settings.setValue(QStringLiteral("category"), QStringLiteral("containers"));
    Desktop::Session session(&settings, false);
    AppStore &store = session.store();
    Shell &shell = session.shell();
    QAbstractItemModelTester tester(shell.containers(), QAbstractItemModelTester::FailureReportingMode::QtTest);
    QSignalSpy resets(shell.containers(), &QAbstractItemModel::modelReset);

    const QString a = uniqueName(QStringLiteral("kt-win-a-"));
    const QString b = uniqueName(QStringLiteral("kt-win-b-"));
    for (const QString &name : {a, b})
        QCOMPARE(docker(QStringList{"run", "-d", "--name", name, engineImage()} + sleeper()).status, 0);
    auto cleanup = qScopeGuard([&] { docker({"rm", "-f", a, b}); });

    QQuickWindow *window = session.window();
    QVERIFY(window);
    window->show();
    QVERIFY(QTest::qWaitForWindowExposed(static_cast<QWindow *>(window)));
    // The first show started polling; the engine's containers come up as rows.
    QQuickItem *list = nullptr;
    QTRY_VERIFY_WITH_TIMEOUT((list = window->findChild<QQuickItem *>(QStringLiteral("containersList"))), 20000);
    QTRY_VERIFY_WITH_TIMEOUT(shownTitles(list).contains(a) && shownTitles(list).contains(b), 20000);

    // Typing in the search narrows the list to what matches.
    window->requestActivate();
    QVERIFY(QTest::qWaitForWindowActive(static_cast<QWindow *>(window)));
    QTest::keyClick(window, Qt::Key_F, Qt::ControlModifier);
    typeText(window, a);
    QCOMPARE(store.filter(), a);
    QTRY_COMPARE(shownTitles(list), QStringList{a});
    QTest::keyClick(window, Qt::Key_Escape);
    QTRY_VERIFY(shownTitles(list).contains(b));

    // Removed from outside: the next poll takes the row away, and nothing is reset.
    QCOMPARE(docker({"rm", "-f", b}).status, 0);
    QTRY_VERIFY_WITH_TIMEOUT(!shownTitles(list).contains(b), 20000);
    QVERIFY(shownTitles(list).contains(a));
    QCOMPARE(resets.size(), 0);
}

QTEST_MAIN(WindowLive)
#include "tst_window_live.moc"
