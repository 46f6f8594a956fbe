#include "../toolchain/faketools.h"
#include "actions.h"
#include "jobrun.h"
#include "logfollower.h"
#include "settingscontroller.h"
#include "appstore.h"
#include "projectdeletion.h"
#include "sampledata.h"
#include "shell.h"
#include "theme.h"
#include "toolchainstore.h"
#include "uiengine.h"

#include <QQmlEngine>
#include <QQuickStyle>
#include <QSettings>
#include <QTemporaryDir>
#include <QtQml/QQmlExtensionPlugin>
#include <QtQuickTest>

Q_IMPORT_QML_PLUGIN(KorvatPlugin)

// What the QML test cases need from C++: shells and actions over sample data, each on
// settings that a later shell can open again by name, and deletions over fixed plans.
class Fixtures : public QObject {
    Q_OBJECT

public:
    Fixtures() { SampleData::layOut(m_dir.filePath(QStringLiteral("code"))); }

    // A new shell each call, over the settings of that name.
    Q_INVOKABLE QObject *shell(const QString &settingsName)
    {
        auto *settings = new QSettings(m_dir.filePath(settingsName), QSettings::IniFormat, this);
        settings->setValue(QStringLiteral("checkUpdatesAtLaunch"), false);
        m_store = new AppStore(settings, {}, this);
        m_toolchain = new ToolchainStore(settings, &QDateTime::currentDateTimeUtc, this);
        StorePreview sample = SampleData::store(m_dir.filePath(QStringLiteral("code")));
        if (settingsName.endsWith(QLatin1String("-empty"))) {
            sample.containers.clear();
            sample.registry = ProjectRegistry();
        }
        m_store->preview(sample);
        return new Shell(m_store, m_toolchain, settings, this);
    }
    // The store of the last shell made, and actions over it.
    Q_INVOKABLE QObject *store() { return m_store; }
    Q_INVOKABLE QObject *toolchain() { return m_toolchain; }
    Q_INVOKABLE QObject *actions() { return new Actions(m_store, this); }
    // Settings over the sample tools, or, with probe set, over stand-in tools that have not
    // answered yet; "slow" makes the stand-in brew take its time to update.
    Q_INVOKABLE QObject *settings(const QString &kind)
    {
        auto *settings = new QSettings(m_dir.filePath(QStringLiteral("settings-") + kind), QSettings::IniFormat, this);
        auto *toolchain = new ToolchainStore(settings, &QDateTime::currentDateTimeUtc, this);
        if (kind == QLatin1String("sample")) {
            toolchain->preview(SampleData::tools(), SampleData::status());
        } else {
            m_tools = std::make_unique<FakeTools>();
            if (kind == QLatin1String("slow"))
                m_tools->set(QStringLiteral("update.sleep"), "3");
        }
        return new SettingsController(toolchain, settings, QStringLiteral("/usr/bin/korvat"), this);
    }
    // A real job: /bin/sh runs the upgrade script against a stand-in brew that prints and fails.
    Q_INVOKABLE QObject *failingJob()
    {
        m_tools = std::make_unique<FakeTools>();
        TestSupport::writeExecutable(m_tools->path(QStringLiteral("brew")), "#!/bin/sh\necho \"upgrading $2\"\necho 'no bottle' >&2\nexit 3\n");
        return new JobRun(ToolJob::upgrade({QStringLiteral("container")}), this);
    }
    Q_INVOKABLE void dropTools() { m_tools.reset(); }
    // A log follower that shows text instead of following a container; more() adds to it.
    Q_INVOKABLE QObject *log(int lines)
    {
        auto *follower = new LogFollower(LogSource::container({}), std::nullopt, this);
        more(follower, lines);
        return follower;
    }
    Q_INVOKABLE void more(QObject *follower, int lines)
    {
        auto *f = qobject_cast<LogFollower *>(follower);
        QString text = f->text();
        for (int i = 0; i < lines; ++i)
            text += QStringLiteral("line %1\n").arg(text.count(u'\n') + 1);
        f->preview(text);
    }
    // The website's deletion, planned already unless asked otherwise; "empty" has nothing left.
    Q_INVOKABLE QObject *deletion(const QString &kind)
    {
        std::optional<TeardownPlan> plan = SampleData::websitePlan(m_dir.filePath(QStringLiteral("code")));
        if (kind == QLatin1String("unplanned"))
            plan.reset();
        else if (kind == QLatin1String("empty"))
            plan = TeardownPlan{QStringLiteral("website"), {}, {}, std::nullopt};
        return new ProjectDeletion(nullptr, {QStringLiteral("website"), std::nullopt, {}, 0}, plan, this);
    }
    Q_INVOKABLE QString stored(const QString &settingsName, const QString &key) const
    {
        return QSettings(m_dir.filePath(settingsName), QSettings::IniFormat).value(key).toString();
    }

private:
    QTemporaryDir m_dir;
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
