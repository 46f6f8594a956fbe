#include "appstore.h"
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

// What the QML test cases need from C++: shells over sample data, each on settings that a
// later shell can open again by name.
class Fixtures : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE QObject *shell(const QString &settingsName)
    {
        auto *settings = new QSettings(m_dir.filePath(settingsName), QSettings::IniFormat, this);
        settings->setValue(QStringLiteral("checkUpdatesAtLaunch"), false);
        auto *store = new AppStore(settings, {}, this);
        auto *toolchain = new ToolchainStore(settings, &QDateTime::currentDateTimeUtc, this);
        store->preview(SampleData::store());
        return new Shell(store, toolchain, settings, this);
    }
    Q_INVOKABLE QString stored(const QString &settingsName, const QString &key) const
    {
        return QSettings(m_dir.filePath(settingsName), QSettings::IniFormat).value(key).toString();
    }

private:
    QTemporaryDir m_dir;
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
