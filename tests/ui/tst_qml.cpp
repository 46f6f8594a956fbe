#include "../toolchain/faketools.h"
#include "actions.h"
#include "jobrun.h"
#include "logfollower.h"
#include "settingscontroller.h"
#include "appstore.h"
#include "projectdeletion.h"
#include "sampledata.h"
#include "storesupport.h"
#include "shell.h"
#include "theme.h"
#include "toolchainstore.h"
#include "uiengine.h"

#include <QQmlEngine>
#include <QQuickStyle>
#include <QSettings>
#include <QTest>
#include <QTemporaryDir>
#include <QtQml/QQmlExtensionPlugin>
#include <QtQuickTest>

Q_IMPORT_QML_PLUGIN(KorvatPlugin)

// What the QML test cases need from C++: shells and actions over sample data, each on
// settings that a later shell can open again by name, and deletions over fixed plans.
class Fixtures : public QObject {
    Q_OBJECT

public:
    Fixtures() { SampleData::layOut(code()); }

    // A new shell each call, over the settings of that name.
    Q_INVOKABLE QObject *shell(const QString &settingsName)
    {
        auto *settings = new QSettings(m_dir.filePath(settingsName), QSettings::IniFormat, this);
        settings->setValue(QStringLiteral("checkUpdatesAtLaunch"), false);
        m_engine = SampleData::engine(code());
        if (settingsName.endsWith(QLatin1String("-empty")))
            m_engine->setHoldings({});
        else
            SampleData::registry(code()).save(*settings);
        m_store = sampleStore(settings);
        m_toolchain = new ToolchainStore(settings, std::make_shared<HomebrewToolchain>(), &QDateTime::currentDateTimeUtc, this);
        return new Shell(m_store, m_toolchain, settings, this);
    }
    // The store of the last shell made, and actions over it.
    Q_INVOKABLE QObject *store() { return m_store; }
    Q_INVOKABLE QObject *toolchain() { return m_toolchain; }
    Q_INVOKABLE QObject *actions() { return new Actions(m_store, this); }
    // Settings over the sample tools and runtimes (one of them on another machine), or, with
    // probe set, over stand-in tools that have not answered yet and this machine's runtime
    // alone; "slow" makes the stand-in brew take its time to update.
    Q_INVOKABLE QObject *settings(const QString &kind)
    {
        auto *settings = new QSettings(m_dir.filePath(QStringLiteral("settings-") + kind), QSettings::IniFormat, this);
        const bool sample = kind == QLatin1String("sample");
        auto *toolchain = new ToolchainStore(settings, sample ? std::shared_ptr<ToolchainSource>(std::make_shared<SampleData::Toolchain>())
                                                              : std::make_shared<HomebrewToolchain>(),
                                             &QDateTime::currentDateTimeUtc, this);
        if (sample) {
            QCoro::waitFor(toolchain->check());
        } else {
            m_tools = std::make_unique<FakeTools>();
            if (kind == QLatin1String("slow"))
                m_tools->set(QStringLiteral("update.sleep"), "3");
        }
        m_engine = sample ? SampleData::engine(code()) : std::make_shared<FakeEngine>();
        return new SettingsController(toolchain, settings, QStringLiteral("/usr/bin/korvat"), nullptr, sampleStore(settings), this);
    }
    // A real job: /bin/sh runs the upgrade script against a stand-in brew that prints and fails.
    Q_INVOKABLE QObject *failingJob()
    {
        m_tools = std::make_unique<FakeTools>();
        TestSupport::writeExecutable(m_tools->path(QStringLiteral("brew")), "#!/bin/sh\necho \"upgrading $2\"\necho 'no bottle' >&2\nexit 3\n");
        return new JobRun(ToolJob::upgrade({QStringLiteral("container")}), std::make_shared<HomebrewToolchain>(), this);
    }
    Q_INVOKABLE void dropTools() { m_tools.reset(); }
    // A log follower of a container that has printed lines; more() makes it print more.
    Q_INVOKABLE QObject *log(int lines)
    {
        m_engine = std::make_shared<FakeEngine>();
        auto *follower = new LogFollower(m_engine, LogSource::container({}), std::nullopt, this);
        follower->start();
        more(follower, lines);
        return follower;
    }
    Q_INVOKABLE void more(QObject *follower, int lines)
    {
        const int before = qobject_cast<LogFollower *>(follower)->transcript()->total();
        QByteArray text;
        for (int i = 0; i < lines; ++i)
            text += QByteArray("line ") + QByteArray::number(before + i + 1) + '\n';
        m_engine->logStreams().constLast()->write(text);
    }
    // The website's deletion, planned by the store over the sample engine; "empty" plans a
    // project with nothing left, "unplanned" has no store to plan with.
    Q_INVOKABLE QObject *deletion(const QString &kind)
    {
        if (kind == QLatin1String("unplanned"))
            return new ProjectDeletion(nullptr, {QStringLiteral("website"), std::nullopt, {}, 0}, this);
        m_engine = SampleData::engine(code());
        AppStore *store = sampleStore(new QSettings(m_dir.filePath(QStringLiteral("deletion")), QSettings::IniFormat, this));
        ComposeProject project{QStringLiteral("website"), std::nullopt, {}, 0};
        for (const auto &p : store->projects()) {
            if (p.name == project.name && kind == QLatin1String("planned"))
                project = p;
        }
        auto *deletion = new ProjectDeletion(store, project, this);
        deletion->start();
        if (!QTest::qWaitFor([&] { return deletion->planned(); }))
            qWarning("the website's deletion was never planned");
        return deletion;
    }
    Q_INVOKABLE QString stored(const QString &settingsName, const QString &key) const
    {
        return QSettings(m_dir.filePath(settingsName), QSettings::IniFormat).value(key).toString();
    }

private:
    QString code() const { return m_dir.filePath(QStringLiteral("code")); }
    AppStore *sampleStore(QSettings *settings)
    {
        auto *store = new AppStore(settings, m_engine, TestSupport::quietTiming(), this);
        QCoro::waitFor(store->loadContexts());
        return store;
    }

    QTemporaryDir m_dir;
    std::shared_ptr<FakeEngine> m_engine;
    AppStore *m_store = nullptr;
    ToolchainStore *m_toolchain = nullptr;
    std::unique_ptr<FakeTools> m_tools;
};

class Setup : public QObject {
    Q_OBJECT

public slots:
    void applicationAvailable() { QQuickStyle::setStyle(QStringLiteral("Basic")); }
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        UiEngine::prepare(*engine);
        m_settings = std::make_unique<QSettings>(m_dir.filePath(QStringLiteral("theme")), QSettings::IniFormat);
        m_theme = std::make_unique<Theme>(m_settings.get(), nullptr);
        Theme::setInstance(m_theme.get());
        qmlRegisterSingletonInstance("KorvatTest", 1, 0, "Fixtures", &m_fixtures);
    }

private:
    QTemporaryDir m_dir;
    std::unique_ptr<QSettings> m_settings;
    std::unique_ptr<Theme> m_theme;
    Fixtures m_fixtures;
};

QUICK_TEST_MAIN_WITH_SETUP(korvat_qml, Setup)
#include "tst_qml.moc"
