#include "appstore.h"
#include "desktop.h"
#include "shell.h"
#include "testsupport.h"

#include <QQuickItem>
#include <QQuickWindow>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>

using namespace TestSupport;

namespace {
QQuickItem *find(QObject *root, const QString &objectName)
{
    for (QQuickItem *item : root->findChildren<QQuickItem *>(objectName)) {
        if (item->isVisible())
            return item;
    }
    return nullptr;
}

// A real click at the middle of the item, as the pointer would make it.
void click(QQuickItem *item)
{
    const QPointF centre = item->mapToScene(QPointF(item->width() / 2, item->height() / 2));
    QTest::mouseClick(item->window(), Qt::LeftButton, {}, centre.toPoint());
}

QString inspect(const QString &name, const QString &format)
{
    return docker({"inspect", "-f", format, name}).out.trimmed();
}
}

// The real window on the private engine: a click on a row reaches the engine, and what the
// engine did comes back to the same row.
class ViewsLive : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    // A refresh still listing when the process ends leaves worker threads that deadlock
    // LeakSanitizer's exit check.
    void cleanupTestCase() { AppStore::workers()->waitForDone(60000); }
    void init();
    void cleanup();
    void stopOnARunningRow();

private:
    QQuickItem *row(const QString &name) const;

    QTemporaryDir m_dir;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<Desktop::Session> m_session;
    Leftovers m_made;
};

void ViewsLive::initTestCase()
{
    REQUIRE_ENGINE();
    Desktop::prepareApplication();
}

void ViewsLive::init()
{
    m_settings = std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("s.conf")), QSettings::IniFormat);
    m_settings->clear();
    m_settings->setValue(QStringLiteral("checkUpdatesAtLaunch"), false);
    m_settings->setValue(QStringLiteral("category"), QStringLiteral("containers"));
    m_session = std::make_unique<Desktop::Session>(m_settings.get(), false);
    m_session->window()->show();
    QVERIFY(QTest::qWaitForWindowExposed(static_cast<QWindow *>(m_session->window())));
}

void ViewsLive::cleanup()
{
    m_session.reset();
    m_made.clear();
}

QQuickItem *ViewsLive::row(const QString &name) const
{
    QQuickItem *list = m_session->window()->findChild<QQuickItem *>(QStringLiteral("containersList"));
    if (!list)
        return nullptr;
    for (QQuickItem *item : list->property("contentItem").value<QQuickItem *>()->childItems()) {
        if (item->property("name").toString() == name && item->isVisible())
            return item;
    }
    return nullptr;
}

void ViewsLive::stopOnARunningRow()
{
    const QString name = m_made.run(QStringLiteral("kt-rows-"));
    QTRY_VERIFY_WITH_TIMEOUT(row(name), 20000);
    QQuickItem *primary = find(row(name), QStringLiteral("primary"));
    QVERIFY(primary);
    QCOMPARE(primary->property("text").toString(), QStringLiteral("Stop"));

    click(primary);
    QTRY_COMPARE_WITH_TIMEOUT(inspect(name, QStringLiteral("{{.State.Status}}")), QStringLiteral("exited"), 20000);
    // The next refresh turns the same row, not a new one, into a stopped one.
    QTRY_COMPARE_WITH_TIMEOUT(primary->property("text").toString(), QStringLiteral("Start"), 20000);
}

QTEST_MAIN(ViewsLive)
#include "tst_views_live.moc"
