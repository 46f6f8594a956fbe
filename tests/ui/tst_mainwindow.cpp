#include "actions.h"
#include "category.h"
#include "appstore.h"
#include "detailsstate.h"
#include "desktop.h"
#include "sampledata.h"
#include "storesupport.h"
#include "testsupport.h"
#include "shell.h"

#include <QAccessible>
#include <QDBusConnection>
#include <QFile>
#include <QKeyEvent>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QScopeGuard>
#include <QDBusConnectionInterface>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

namespace {
// QTest types whole strings only into widgets.
void typeText(QWindow *window, const QString &text)
{
    for (const QChar c : text)
        QTest::keyClick(window, c.toLatin1());
}

QAccessibleInterface *accessible(QQuickItem *item) { return QAccessible::queryAccessibleInterface(item); }

void collect(QQuickItem *item, QList<QQuickItem *> &out)
{
    if (!item->isVisible())
        return;
    out.append(item);
    for (QQuickItem *child : item->childItems())
        collect(child, out);
}

// Where an item sits, by the object names and types above it, for a failure to point at.
QString pathOf(QQuickItem *item)
{
    QStringList path;
    for (; item; item = item->parentItem())
        path.prepend(item->objectName().isEmpty() ? QString::fromLatin1(item->metaObject()->className()).section(u'_', 0, 0) : item->objectName());
    return path.join(u'/');
}

QString nameOf(QQuickItem *item)
{
    auto *iface = item ? accessible(item) : nullptr;
    return iface ? iface->text(QAccessible::Name) : QString();
}
}

// The main window over sample data, driven as a keyboard or screen-reader user would.
class TestMainWindow : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();
    void everyControlHasAName();
    void tabReachesEveryControlInReadingOrder();
    void shortcuts();
    void pressActionDismissesTheBanner();
    void staleLineComesAndGoes();
    void screenReaderReadsTheWindow();
    void detailsSheetFromTheKeyboard();
    void runtimeChangesUnderEveryViewAndSheet_data();
    void runtimeChangesUnderEveryViewAndSheet();
    void orcaSaysWhatTheKeyboardReaches();

private:
    QQuickItem *activeControl() const;
    QStringList openSheets() const;
    QJsonObject readAloud(const QString &mode);

    // The accessibility bus a screen reader would listen on, private to the test.
    QProcess m_atspi;
    QList<QQuickItem *> controls() const;
    QStringList namelessControls() const;

    QTemporaryDir m_dir;
    std::unique_ptr<QSettings> m_settings;
    std::shared_ptr<FakeEngine> m_engine;
    std::shared_ptr<qint64> m_clockShift = std::make_shared<qint64>(0);
    std::unique_ptr<Desktop::Session> m_session;
    // The sheet of the detour rows the window was built for.
    QString m_detourSheet;
    AppStore *m_store = nullptr;
    Shell *m_shell = nullptr;
    QQuickWindow *m_window = nullptr;
};

void TestMainWindow::initTestCase()
{
    Desktop::prepareApplication();
    // Qt's bridge joins the bus as soon as it appears.
    m_atspi.start(QStringLiteral("/usr/libexec/at-spi-bus-launcher"), {QStringLiteral("--launch-immediately")});
    QVERIFY2(m_atspi.waitForStarted(), "at-spi2-core is not installed (scripts/setup.sh installs it)");
    QTRY_VERIFY_WITH_TIMEOUT(QDBusConnection::sessionBus().interface()->isServiceRegistered(QStringLiteral("org.a11y.Bus")), 10000);
}

void TestMainWindow::cleanupTestCase()
{
    m_session.reset();
    m_atspi.terminate();
    m_atspi.waitForFinished(5000);
}

namespace {
// The rows of one sheet share a window: building the window is most of a row's time, and
// each row leaves the window as the next begins it but for the sheet it opened. The window
// goes, after its detour, with each kind of sheet open.
QString detourSheet()
{
    if (qstrcmp(QTest::currentTestFunction(), "runtimeChangesUnderEveryViewAndSheet") != 0)
        return {};
    return QString::fromLatin1(QTest::currentDataTag()).section(QStringLiteral(", "), 1);
}
}

void TestMainWindow::init()
{
    if (m_session && !detourSheet().isEmpty() && detourSheet() == m_detourSheet) {
        // Closing one sheet may delete objects the search found: it is held by guarded pointers.
        QList<QPointer<QObject>> open;
        for (QObject *o : m_window->findChildren<QObject *>()) {
            if (o->inherits("QQuickPopup") && o->property("opened").toBool())
                open << o;
        }
        for (const QPointer<QObject> &sheet : open) {
            if (sheet)
                QMetaObject::invokeMethod(sheet, "close");
        }
        QTRY_VERIFY(openSheets().isEmpty());
        for (FakeEngine::Call call : {FakeEngine::Call::Listing, FakeEngine::Call::Images, FakeEngine::Call::Volumes, FakeEngine::Call::Networks,
                                      FakeEngine::Call::Inspection})
            m_engine->failWith(call, std::nullopt, QStringLiteral("staging"));
        return;
    }
    m_session.reset();
    m_detourSheet = detourSheet();
    m_settings = std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("s.conf")), QSettings::IniFormat);
    m_settings->clear();
    m_settings->setValue(QStringLiteral("checkUpdatesAtLaunch"), false);
    m_engine = SampleData::engine(m_dir.filePath(QStringLiteral("code")));
    PollTiming timing = TestSupport::quietTiming();
    timing.staleAfter = std::chrono::milliseconds(50);
    // The clock moves only when a case moves it.
    timing.clock = [shift = m_clockShift] { return QDateTime(QDate(2026, 11, 22), QTime(14, 5)).addSecs(*shift); };
    m_session = std::make_unique<Desktop::Session>(m_settings.get(), false, Desktop::Backends{m_engine, timing});
    m_store = &m_session->store();
    m_shell = &m_session->shell();
    QCoro::waitFor(m_store->loadContexts());
    m_store->reportError(QStringLiteral("Error response from daemon: boom"));
    m_window = m_session->window();
    QVERIFY(m_window);
    m_window->show();
    QVERIFY(QTest::qWaitForWindowExposed(static_cast<QWindow *>(m_window)));
    m_window->requestActivate();
    QVERIFY(QTest::qWaitForWindowActive(static_cast<QWindow *>(m_window)));
}

void TestMainWindow::cleanup()
{
    // A row that failed may leave anything behind: the next starts afresh.
    if (detourSheet().isEmpty() || QTest::currentTestFailed())
        m_session.reset();
}

QQuickItem *TestMainWindow::activeControl() const
{
    // A text field's inner editor or a control's content may hold focus; report the control.
    QQuickItem *item = m_window->activeFocusItem();
    while (item && item->parentItem() && !item->activeFocusOnTab())
        item = item->parentItem();
    return item;
}

QList<QQuickItem *> TestMainWindow::controls() const
{
    QList<QQuickItem *> all;
    collect(m_window->contentItem(), all);
    QList<QQuickItem *> focusable;
    for (QQuickItem *item : all) {
        // A hidden control (a sheet's unused alternative) is reached by neither keyboard nor reader.
        if (item->activeFocusOnTab() && item->isEnabled() && item->isVisible())
            focusable.append(item);
    }
    return focusable;
}

// A list builds the delegates beyond its view over a few frames, and a half-built one has no
// name yet (nor its own focus policy): only a control that stays nameless is a fault.
QStringList TestMainWindow::namelessControls() const
{
    QStringList found;
    for (QQuickItem *item : controls()) {
        if (nameOf(item).isEmpty())
            found << pathOf(item);
    }
    return found;
}

void TestMainWindow::everyControlHasAName()
{
    QTRY_COMPARE(namelessControls(), QStringList());
    QVERIFY(controls().size() >= 6);
}

void TestMainWindow::tabReachesEveryControlInReadingOrder()
{
    // From the window's start, two steps to the projects: the library, then the list it opens.
    for (int i = 0; i < 2; ++i)
        QTest::keyClick(m_window, Qt::Key_Tab);
    QCOMPARE(activeControl()->objectName(), QStringLiteral("projectsList"));

    m_shell->setCategory(int(Category::Containers));
    QTRY_COMPARE(namelessControls(), QStringList());
    QStringList reached;
    QQuickItem *first = nullptr;
    for (int i = 0; i < 40; ++i) {
        QTest::keyClick(m_window, Qt::Key_Tab);
        QQuickItem *item = activeControl();
        if (!item)
            continue;
        if (item == first)
            break;
        if (!first)
            first = item;
        reached << nameOf(item);
    }
    // Told from the library: the sections and the list as one stop each, whatever their rows
    // carry; then the toolbar and the banner above the list.
    const qsizetype library = reached.indexOf(QStringLiteral("Library"));
    QVERIFY(library >= 0);
    reached = reached.mid(library) + reached.first(library);
    const QStringList expected = {QStringLiteral("Library"), QStringLiteral("Containers"), QStringLiteral("Sort by"),
                                  QStringLiteral("Runtime"), QStringLiteral("Filter containers"), QStringLiteral("Refresh now"),
                                  QStringLiteral("Add a project from a directory"), QStringLiteral("Dismiss")};
    QCOMPARE(reached, expected);
    // Shift+Tab walks the same stops back.
    QStringList back;
    for (int i = 0; i < expected.size(); ++i) {
        QTest::keyClick(m_window, Qt::Key_Backtab);
        back.prepend(nameOf(activeControl()));
    }
    QCOMPARE(back, expected);

    // In the library the keyboard is on the section shown, which a screen reader hears as selected.
    while (nameOf(activeControl()) != QLatin1String("Library"))
        QTest::keyClick(m_window, Qt::Key_Tab);
    QAccessibleInterface *section = accessible(m_window->activeFocusItem());
    QCOMPARE(section->text(QAccessible::Name), QStringLiteral("Containers, 10"));
    QVERIFY(section->state().selected && section->state().focused);
    QTest::keyClick(m_window, Qt::Key_Down);
    QVERIFY(!accessible(m_window->activeFocusItem())->state().selected);
}

void TestMainWindow::shortcuts()
{
    QTest::keyClick(m_window, Qt::Key_5, Qt::ControlModifier);
    QCOMPARE(m_shell->category(), int(Category::Networks));
    // The disk view reads its report once shown, and shows a row per item.
    QTest::keyClick(m_window, Qt::Key_6, Qt::ControlModifier);
    QCOMPARE(m_shell->category(), int(Category::Disk));
    QTRY_VERIFY(m_shell->disk()->hasReport());
    QCOMPARE(m_shell->sectionCount(), 28);
    QTest::keyClick(m_window, Qt::Key_1, Qt::ControlModifier);
    QCOMPARE(m_shell->category(), int(Category::Projects));

    QTest::keyClick(m_window, Qt::Key_F, Qt::ControlModifier);
    QCOMPARE(nameOf(activeControl()), QStringLiteral("Filter projects"));
    typeText(m_window, QStringLiteral("website"));
    QCOMPARE(m_store->filter(), QStringLiteral("website"));
    QCOMPARE(m_shell->containers()->count(), 2);
    // Escape in the field empties it.
    QTest::keyClick(m_window, Qt::Key_Escape);
    QCOMPARE(m_store->filter(), QString());
}

void TestMainWindow::pressActionDismissesTheBanner()
{
    QVERIFY(m_store->error().has_value());
    QQuickItem *dismiss = nullptr;
    for (QQuickItem *item : controls()) {
        if (nameOf(item) == QLatin1String("Dismiss"))
            dismiss = item;
    }
    QVERIFY(dismiss);
    QAccessibleInterface *iface = accessible(dismiss);
    QVERIFY(iface && iface->actionInterface());
    QVERIFY(iface->actionInterface()->actionNames().contains(QAccessibleActionInterface::pressAction()));
    iface->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    QTRY_VERIFY(!m_store->error().has_value());
}

// The window and the tray panel say the lists are old while the engine keeps us waiting,
// count the seconds, and fall silent when it answers.
void TestMainWindow::staleLineComesAndGoes()
{
    QQuickWindow *panel = m_session->loadPanel();
    QVERIFY(panel);
    const auto lines = [&] {
        return QList<QQuickItem *>{m_window->findChild<QQuickItem *>("staleLine"),
                                   panel->findChild<QQuickItem *>("staleLine")};
    };
    for (QQuickItem *line : lines())
        QVERIFY(line && !line->isVisible());

    // The window's own first listing (it starts the store) is over before this one is held.
    QTRY_VERIFY(m_store->fetchCount() >= 2 && !m_store->scheduler().listing(m_store->runtime()));
    m_engine->hold(FakeEngine::Call::Listing);
    *m_clockShift = 0;
    m_store->refresh();
    *m_clockShift = 12;
    QTRY_VERIFY(m_store->stale());
    QVERIFY(m_shell->staleText().startsWith("Engine has not answered for 12 s — showing what it listed at "));
    for (QQuickItem *line : lines())
        QVERIFY(line->property("text").toString() == m_shell->staleText() && line->isVisible());
    *m_clockShift = 14;   // the line counts on by itself, once a second
    QTRY_VERIFY_WITH_TIMEOUT(m_shell->staleText().startsWith("Engine has not answered for 14 s"), 3000);

    m_engine->release(FakeEngine::Call::Listing);
    QTRY_VERIFY(m_shell->staleText().isEmpty());
    for (QQuickItem *line : lines())
        QVERIFY(!line->isVisible());
}

// pyatspi reads the window from outside, while this process answers it.
QJsonObject TestMainWindow::readAloud(const QString &mode)
{
    QProcess reader;
    reader.start(QStringLiteral("/usr/bin/python3"),
                 {QStringLiteral(KORVAT_ATSPI_READER), QString::number(QCoreApplication::applicationPid()), mode});
    if (!reader.waitForStarted())
        return {};
    // The event loop runs meanwhile: the reader's questions are answered by this process.
    if (!TestSupport::waitAnswering([&] { return reader.state() == QProcess::NotRunning; }, std::chrono::seconds(60))) {
        reader.kill();
        reader.waitForFinished(5000);
        return {};
    }
    const QByteArray out = reader.readAllStandardOutput();
    if (out.isEmpty())
        qWarning().noquote() << reader.readAllStandardError();
    return QJsonDocument::fromJson(out).object();
}

// Over AT-SPI, as Orca gets it: rows say what their line shows, cards their state and help,
// buttons whom they act on, and the keyboard's walk is announced row by row.
void TestMainWindow::screenReaderReadsTheWindow()
{
    const QJsonObject tree = readAloud(QStringLiteral("tree"));
    QVERIFY2(!tree.isEmpty() && !tree.contains("error"), qPrintable(QJsonDocument(tree).toJson()));
    const QJsonObject items = tree["items"].toObject();
    QCOMPARE(items["legacy-api-1"].toString(), "Up 9 days · node:18-alpine · 3000:3000, 9229:9229");
    QVERIFY(items["legacy"].toString().endsWith("compose up/down need the project directory; start/stop still work"));
    const QJsonArray buttons = tree["buttons"].toArray();
    QVERIFY(buttons.contains(QJsonArray{"Add a project from a directory", "Choose a directory with a compose file"}));
    QVERIFY(buttons.contains(QJsonArray{"Stop", "legacy-api-1"}));
    QVERIFY(std::any_of(buttons.begin(), buttons.end(), [](const QJsonValue &b) { return b.toArray()[0] == "Containers, 10"; }));

    // On a row's button (what Orca says there is the Orca case's), one Tab leaves the list,
    // Shift+Tab comes back where it left, and the Menu key opens the row's menu.
    auto *list = m_window->findChild<QQuickItem *>(QStringLiteral("projectsList"));
    QVERIFY(list);
    list->forceActiveFocus(Qt::TabFocusReason);
    QTest::keyClick(m_window, Qt::Key_Down);
    QTest::keyClick(m_window, Qt::Key_Right);
    // The list keeps focus as a scope around what the keyboard is on, which comes last.
    const auto innermost = [&] { return readAloud(QStringLiteral("focus"))["focused"].toArray().last().toArray(); };
    const QJsonArray button = innermost();
    QCOMPARE(button[1].toString(), "push button");
    QTest::keyClick(m_window, Qt::Key_Tab);
    QVERIFY(!list->hasActiveFocus());
    QVERIFY(innermost() != button);
    QTest::keyClick(m_window, Qt::Key_Tab, Qt::ShiftModifier);
    QCOMPARE(innermost(), button);
    QTest::keyClick(m_window, Qt::Key_Menu);
    QCOMPARE(innermost()[1].toString(), "popup menu");
}

// A row's details open on Ctrl+I; a screen reader can jump between the sheet's sections by
// heading, and hears a secret's name but never its value until the values are shown.
void TestMainWindow::detailsSheetFromTheKeyboard()
{
    QSignalSpy asked(&m_session->actions(), &Actions::detailsRequested);
    QTest::keyClick(m_window, Qt::Key_2, Qt::ControlModifier);
    auto *list = m_window->findChild<QQuickItem *>(QStringLiteral("containersList"));
    QVERIFY(list);
    list->forceActiveFocus(Qt::TabFocusReason);
    const auto focusedRow = [&] { return m_window->activeFocusItem()->property("name").toString(); };
    for (int i = 0; i < 12 && focusedRow() != QLatin1String("storefront-db-1"); ++i)
        QTest::keyClick(m_window, Qt::Key_Down);
    QCOMPARE(focusedRow(), QStringLiteral("storefront-db-1"));
    QTest::keyClick(m_window, Qt::Key_I, Qt::ControlModifier);
    QCOMPARE(asked.size(), 1);
    auto *inspection = asked.first().first().value<Inspection *>();
    QTRY_VERIFY(inspection->loaded());

    const QJsonObject masked = readAloud(QStringLiteral("texts"));
    QStringList headings;
    for (const QJsonValue &h : masked["headings"].toArray())
        headings << h.toString();
    // The sheet opens on its sections, which End scrolls to their last.
    QTest::keyClick(m_window, Qt::Key_End);
    const QJsonObject end = readAloud(QStringLiteral("texts"));
    for (const QJsonValue &h : end["headings"].toArray())
        headings << h.toString();
    for (const char *section : {"State", "Health", "Configuration", "Environment", "Mounts", "Networks", "Labels"})
        QVERIFY2(headings.contains(QLatin1String(section)), qPrintable(headings.join(", ")));
    const QByteArray before = QJsonDocument(masked).toJson() + QJsonDocument(end).toJson();
    QVERIFY2(before.contains("POSTGRES_PASSWORD: hidden value"), before.constData());
    QVERIFY(!before.contains("correct-horse-battery"));
    inspection->setShowSecrets(true);
    QVERIFY(QJsonDocument(readAloud(QStringLiteral("texts"))).toJson().contains("POSTGRES_PASSWORD: correct-horse-battery"));
    QTest::keyClick(m_window, Qt::Key_Escape);
    QTRY_VERIFY(!m_window->findChild<QObject *>(QStringLiteral("detailsSheet"))->property("visible").toBool());
}

QStringList TestMainWindow::openSheets() const
{
    QStringList open;
    for (QObject *o : m_window->findChildren<QObject *>()) {
        if (o->inherits("QQuickPopup") && o->property("opened").toBool())
            open << (o->objectName().isEmpty() ? QString::fromLatin1(o->metaObject()->className()).section(u'_', 0, 0) : o->objectName());
    }
    return open;
}

void TestMainWindow::runtimeChangesUnderEveryViewAndSheet_data()
{
    QTest::addColumn<int>("category");
    QTest::addColumn<int>("verb");
    QTest::addColumn<QString>("subject");
    struct Sheet {
        const char *name;
        int verb;
        const char *subject;
    };
    const Sheet sheets[] = {
        {"no sheet", -1, ""},
        {"logs", Verb::ContainerLogs, "8c2d4e6f1a22"},
        {"details", Verb::Details, "8c2d4e6f1a22"},
        {"console", Verb::Console, "8c2d4e6f1a22"},
        {"commit", Verb::Commit, "8c2d4e6f1a22"},
        {"project deletion", Verb::DeleteProject, "storefront"},
        {"compose file", Verb::ShowComposeFile, "storefront"},
        {"down", Verb::Down, "storefront"},
        {"volume removal", Verb::RemoveVolume, "notes_data"},
        {"prune", Verb::PruneImages, ""},
        {"reclaim", Verb::Reclaim, ""},
    };
    for (const Sheet &s : sheets) {
        for (Category c : Categories::shown)
            QTest::addRow("%s, %s", qPrintable(Categories::label(c)), s.name) << int(c) << s.verb << QString::fromLatin1(s.subject);
    }
}

// A pick in the runtime picker, then the engine picked going away and the store's detour to
// the other one, with each view shown and each sheet open over it: each empties the lists
// and the disk report under whatever shows them.
void TestMainWindow::runtimeChangesUnderEveryViewAndSheet()
{
    QFETCH(int, category);
    QFETCH(int, verb);
    QFETCH(QString, subject);
    const QString staging = QStringLiteral("staging"), local = QStringLiteral("default");
    m_engine->setReachable(staging, true);
    m_shell->setCategory(category);
    const bool disk = category == int(Category::Disk);
    // Each change is polished and drawn before the next: a layout still holding what went
    // away falls over there, not in the change itself.
    const auto drawn = [&] { return !m_window->grabWindow().isNull(); };
    const auto settled = [&] {
        return !m_store->scheduler().listing(m_store->runtime()) && m_shell->sectionCount() > 0
            && (!disk || (m_shell->disk()->hasReport() && !m_shell->disk()->reading()));
    };
    QTRY_VERIFY(settled());
    if (verb >= 0) {
        m_session->actions().perform(Verb::Kind(verb), subject);
        QTRY_COMPARE(openSheets().size(), 1);
    }

    // What the picker does with its row.
    int row = 0;
    while (m_shell->runtimes()->runtimeAt(row) != Runtime::context(staging))
        ++row;
    m_shell->selectRuntime(row);
    QCOMPARE(m_store->runtime()->name, staging);
    QVERIFY(drawn());
    QTRY_VERIFY(settled());
    QVERIFY(drawn());

    const QString gone = QStringLiteral("Cannot connect to the Docker daemon at unix:///var/run/docker.sock. Is the docker daemon running?");
    m_engine->setReachable(staging, false);
    for (FakeEngine::Call call : {FakeEngine::Call::Listing, FakeEngine::Call::Images, FakeEngine::Call::Volumes, FakeEngine::Call::Networks,
                                  FakeEngine::Call::Inspection})
        m_engine->failWith(call, gone, staging);
    if (disk)
        m_shell->disk()->read();
    m_store->refresh();
    QTRY_COMPARE(m_store->runtime()->name, local);
    QVERIFY(drawn());
    QTRY_VERIFY(settled());
    QVERIFY(!m_shell->disk()->failed());
    QVERIFY(drawn());
}

// Orca itself, walking the window by keyboard: its debug log has every utterance as
// "SPEECH OUTPUT: '…'". It reads the window over the same bus, so it answers slowly.
void TestMainWindow::orcaSaysWhatTheKeyboardReaches()
{
    QTemporaryDir prefs;
    const QString log = prefs.filePath(QStringLiteral("orca.log"));
    // Orca writes its debug file in blocks; the test reads it while Orca speaks.
    QFile customizations(prefs.filePath(QStringLiteral("orca-customizations.py")));
    QVERIFY(customizations.open(QIODevice::WriteOnly));
    customizations.write("import orca.debug\n"
                         "if orca.debug.debugFile is not None:\n"
                         "    orca.debug.debugFile.reconfigure(line_buffering=True)\n");
    customizations.close();
    // Orca runs once per user and would end any other instance it was told to replace: a
    // screen reader the developer relies on is left alone.
    QProcess pgrep;
    pgrep.start(QStringLiteral("pgrep"), {QStringLiteral("-u"), QString::number(getuid()), QStringLiteral("-x"), QStringLiteral("orca")});
    QVERIFY(pgrep.waitForFinished(5000));
    if (pgrep.exitCode() == 0)
        QSKIP("Orca already runs for this user; the test needs its own");
    QProcess orca;
    orca.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    // Braille and Orca's own windows are left out: each costs it time on every utterance.
    orca.start(QStringLiteral("orca"), {QStringLiteral("--user-prefs"), prefs.path(),
                                        QStringLiteral("--disable"), QStringLiteral("braille"), QStringLiteral("--disable"),
                                        QStringLiteral("main-window"), QStringLiteral("--disable"), QStringLiteral("splash-window"),
                                        QStringLiteral("--debug-file"), log});
    QVERIFY2(orca.waitForStarted(), "orca is not installed (scripts/setup.sh installs it)");
    const auto cleanup = qScopeGuard([&] {
        orca.terminate();
        if (!orca.waitForFinished(5000)) {
            orca.kill();
            orca.waitForFinished(5000);
        }
    });
    qsizetype heard = 0;
    // What Orca has said since the last call.
    const auto said = [&] {
        QFile file(log);
        if (!file.open(QIODevice::ReadOnly))
            return QString();
        static const QRegularExpression speech(QStringLiteral("SPEECH OUTPUT: '(.*)'\\{"));
        const QString text = QString::fromUtf8(file.readAll());
        QStringList lines;
        for (auto it = speech.globalMatch(text, heard); it.hasNext();)
            lines << it.next().captured(1);
        return lines.join(u'\n');
    };
    // Empty once Orca has said every one of the texts, in any order.
    const auto waitFor = [&](const QStringList &expected) {
        QString all;
        const auto saidAll = [&] {
            all = said();
            return std::all_of(expected.begin(), expected.end(), [&](const QString &e) { return all.contains(e); });
        };
        // Generous: on a loaded machine Orca takes many seconds over one focus change.
        const bool found = TestSupport::waitAnswering(saidAll, std::chrono::seconds(90));
        heard = QFile(log).size();
        return found ? QString() : expected.join(u'|') + QStringLiteral(" not said; heard: ") + all;
    };
    // Ready once it has found the window: a focus change before that counts, for Orca, as
    // one in an inactive application, which it drops.
    QString missing = waitFor({QStringLiteral("Screen reader on."), QStringLiteral("Korvat frame")});
    QVERIFY2(missing.isEmpty(), qPrintable(missing));

    auto *list = m_window->findChild<QQuickItem *>(QStringLiteral("projectsList"));
    list->forceActiveFocus(Qt::TabFocusReason);
    auto *card = m_window->activeFocusItem();
    const QString project = card->property("name").toString();
    // The card: its name, then its state and counts.
    missing = waitFor({project + QStringLiteral(".\n") + card->property("description").toString()});
    QVERIFY2(missing.isEmpty(), qPrintable(missing));
    QVERIFY(card->property("description").toString().contains(QLatin1String("running")));

    // Delivered to the window as its own, not through the accessibility bus: Orca, busy
    // reading, would hold a real keystroke past the bus's reply timeout.
    const auto press = [&](Qt::Key key) {
        QKeyEvent down(QEvent::KeyPress, key, Qt::NoModifier), up(QEvent::KeyRelease, key, Qt::NoModifier);
        QCoreApplication::sendEvent(m_window, &down);
        QCoreApplication::sendEvent(m_window, &up);
    };
    press(Qt::Key_Down);
    const QString container = m_window->activeFocusItem()->property("name").toString();
    missing = waitFor({container, m_window->activeFocusItem()->property("description").toString()});
    QVERIFY2(missing.isEmpty(), qPrintable(missing));
    // Its first button says whose it is.
    press(Qt::Key_Right);
    const QString button = m_window->activeFocusItem()->property("text").toString();
    missing = waitFor({button + QStringLiteral(" push button"), container});
    QVERIFY2(missing.isEmpty(), qPrintable(missing));
}

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
