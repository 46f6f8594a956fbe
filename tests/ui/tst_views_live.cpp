#include "verb.h"
#include "cliengine.h"
#include "appstore.h"
#include "desktop.h"
#include "shell.h"
#include "testsupport.h"

#include <QDir>
#include <QFileInfo>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>

using namespace TestSupport;

namespace {
QQuickItem *find(QObject *root, const QString &objectName, const std::function<bool(QQuickItem *)> &also = {})
{
    for (QQuickItem *item : root->findChildren<QQuickItem *>(objectName)) {
        if (item->isVisible() && (!also || also(item)))
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

// The projects and containers views and their sheets, driven through the real window on
// the private engine.
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
    void logsSheetShowsWhatComesAfter();
    void deleteSheetKeepsWhatOthersMount();
    void failedPullLeavesTheEnginesError();

private:
    QQuickItem *row(const QString &name) const;
    void act(const char *function, Verb::Kind verb, const QString &subject);

    QTemporaryDir m_dir;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<Desktop::Session> m_session;
    QStringList m_containers, m_volumes;
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
    if (!m_containers.isEmpty())
        docker(QStringList{"rm", "-f"} + m_containers);
    if (!m_volumes.isEmpty())
        docker(QStringList{"volume", "rm", "-f"} + m_volumes);
    m_containers.clear();
    m_volumes.clear();
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

void ViewsLive::act(const char *function, Verb::Kind verb, const QString &subject)
{
    QObject *sheets = m_session->window()->findChild<QObject *>(QStringLiteral("sheets"));
    QVERIFY(sheets);
    QVERIFY(QMetaObject::invokeMethod(sheets, function, Q_ARG(int, verb), Q_ARG(QString, subject)));
}

void ViewsLive::stopOnARunningRow()
{
    const QString name = uniqueName(QStringLiteral("kt-rows-"));
    m_containers << name;
    QCOMPARE(docker(QStringList{"run", "-d", "--name", name, engineImage()} + sleeper()).status, 0);
    QTRY_VERIFY_WITH_TIMEOUT(row(name), 20000);
    QQuickItem *primary = find(row(name), QStringLiteral("primary"));
    QVERIFY(primary);
    QCOMPARE(primary->property("text").toString(), QStringLiteral("Stop"));

    click(primary);
    QTRY_COMPARE_WITH_TIMEOUT(inspect(name, QStringLiteral("{{.State.Status}}")), QStringLiteral("exited"), 20000);
    // The next refresh turns the same row, not a new one, into a stopped one.
    QTRY_COMPARE_WITH_TIMEOUT(primary->property("text").toString(), QStringLiteral("Start"), 20000);
}

void ViewsLive::logsSheetShowsWhatComesAfter()
{
    const QString name = uniqueName(QStringLiteral("kt-logs-"));
    m_containers << name;
    QCOMPARE(docker(QStringList{"run", "-d", "--name", name, engineImage(), "sh", "-c",
                                "echo before; trap 'exit 0' TERM; sleep 3600 & wait"}).status, 0);
    QTRY_VERIFY_WITH_TIMEOUT(row(name), 20000);
    const auto container = std::find_if(m_session->store().containers().cbegin(), m_session->store().containers().cend(),
                                         [&](const Container &c) { return c.name == name; });
    act("containerAction", Verb::ContainerLogs, container->id);
    QQuickItem *text = nullptr;
    QTRY_VERIFY_WITH_TIMEOUT((text = find(m_session->window(), QStringLiteral("logText"))), 10000);
    QTRY_VERIFY_WITH_TIMEOUT(text->property("text").toString().contains(QStringLiteral("before")), 10000);

    QCOMPARE(docker({"exec", name, "sh", "-c", "echo after-opening > /proc/1/fd/1"}).status, 0);
    QTRY_VERIFY_WITH_TIMEOUT(text->property("text").toString().contains(QStringLiteral("after-opening")), 10000);
}

void ViewsLive::deleteSheetKeepsWhatOthersMount()
{
    QTemporaryDir data;
    qputenv("XDG_DATA_HOME", data.path().toUtf8());
    ComposeDir project(sleeperCompose("web", "    volumes: [own:/own, shared:/shared]\nvolumes:\n  own:\n  shared:\n"));
    project.dir.setAutoRemove(false);
    const QString name = QFileInfo(project.path()).fileName().toLower();
    QCOMPARE(docker({"compose", "up", "-d"}, project.path()).status, 0);
    const QString loose = uniqueName(QStringLiteral("kt-keeper-"));
    m_containers << loose;
    m_volumes << name + QStringLiteral("_shared");
    QCOMPARE(docker(QStringList{"run", "-d", "--name", loose, "-v", name + "_shared:/s", engineImage()} + sleeper()).status, 0);
    m_session->shell().setCategory(int(Category::Projects));
    QTRY_VERIFY_WITH_TIMEOUT(m_session->store().registry().knows(name, engineContext()), 20000);

    act("projectAction", Verb::DeleteProject, name);
    QQuickItem *kept = nullptr;
    QTRY_VERIFY_WITH_TIMEOUT((kept = find(m_session->window(), QStringLiteral("keptSection"))), 20000);
    QObject *sheet = m_session->window()->findChild<QObject *>(QStringLiteral("deleteSheet"));
    auto *deletion = sheet->property("deletion").value<QObject *>();
    QCOMPARE(deletion->property("kept").toList().size(), 1);
    QCOMPARE(deletion->property("kept").toList().first().toMap().value("name").toString(), name + "_shared");
    QCOMPARE(deletion->property("kept").toList().first().toMap().value("trailing").toString(), "used by " + loose);

    click(find(m_session->window(), QStringLiteral("moveToTrash")));
    QQuickItem *button = find(m_session->window(), QStringLiteral("deleteButton"));
    QCOMPARE(button->property("text").toString(), QStringLiteral("Delete 1 container + 1 volume + files"));
    click(button);
    QTRY_VERIFY_WITH_TIMEOUT(!sheet->property("visible").toBool(), 30000);

    QCOMPARE(docker({"volume", "inspect", name + "_own"}).status, 1);
    QCOMPARE(docker({"volume", "inspect", name + "_shared"}).status, 0);
    QVERIFY(!QFileInfo::exists(project.path()));
    QVERIFY(QFileInfo(data.filePath("Trash/files/" + QFileInfo(project.path()).fileName() + "/compose.yaml")).isFile());
    QCOMPARE(m_session->store().errorText(), QString());
    qunsetenv("XDG_DATA_HOME");
}

void ViewsLive::failedPullLeavesTheEnginesError()
{
    m_session->shell().setCategory(int(Category::Images));
    QQuickItem *field = nullptr;
    QTRY_VERIFY_WITH_TIMEOUT((field = find(m_session->window(), QStringLiteral("pullField"))), 10000);
    QTRY_VERIFY_WITH_TIMEOUT(m_session->shell().images()->count() > 0, 20000);
    const int before = m_session->shell().images()->count();
    // A registry on a loopback port nobody listens on: the engine's own refusal, at once.
    field->setProperty("text", QStringLiteral("127.0.0.1:9/korvat/none:1"));
    click(find(m_session->window(), QStringLiteral("pull")));
    QTRY_VERIFY_WITH_TIMEOUT(!m_session->store().errorText().isEmpty(), 20000);
    QVERIFY2(m_session->store().errorText().contains(QStringLiteral("127.0.0.1:9")), qPrintable(m_session->store().errorText()));
    QCOMPARE(m_session->shell().images()->count(), before);
}

QTEST_MAIN(ViewsLive)
#include "tst_views_live.moc"
