#include "actions.h"
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
        auto *toolchain = new ToolchainStore(settings, &QDateTime::currentDateTimeUtc, this);
        m_store->preview(SampleData::store(m_dir.filePath(QStringLiteral("code"))));
        return new Shell(m_store, toolchain, settings, this);
    }
    // The store of the last shell made, and actions over it.
    Q_INVOKABLE QObject *store() { return m_store; }
    Q_INVOKABLE QObject *actions() { return new Actions(m_store, this); }
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
