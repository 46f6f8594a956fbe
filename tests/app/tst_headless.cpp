#include "toolchain.h"
#include "tooljob.h"

#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

// The korvat binary's headless modes that need no engine: each prints and exits 0, with no
// display available.
class Headless : public QObject {
    Q_OBJECT
    QTemporaryDir m_home;

    QString korvat(const QStringList &args, int *status = nullptr)
    {
        QProcess p;
        auto env = QProcessEnvironment::systemEnvironment();
        env.remove("DISPLAY");
        env.remove("WAYLAND_DISPLAY");
        env.remove("QT_QPA_PLATFORM");
        env.insert("HOME", m_home.path());
        env.insert("XDG_CONFIG_HOME", m_home.filePath("config"));
        env.insert("DOCKER_CONFIG", m_home.filePath("docker"));
        env.insert("DOCKER_HOST", "unix:///nope/kt-headless.sock");
        p.setProcessEnvironment(env);
        p.start(KORVAT_BINARY, args);
        p.waitForFinished(-1);
        if (status)
            *status = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
        return QString::fromUtf8(p.readAllStandardOutput());
    }

private slots:
    void selftestPassesWithoutAnEngine()
    {
        int status = -1;
        const QString out = korvat({"--selftest"}, &status);
        QCOMPARE(status, 0);
        QVERIFY2(out.contains(QRegularExpression("\\n\\d+ passed, 0 failed\\n")), qPrintable(out));
        QVERIFY(!out.contains("FAIL"));
        QVERIFY(out.contains("\nenvironment\n"));
    }

    void toolsWithoutHomebrew()
    {
        for (const auto &brew : Toolchain::setup().brewLocations) {
            if (QFileInfo::exists(brew))
                QSKIP("this machine has Homebrew; the report would show it");
        }
        int status = -1;
        const QString out = korvat({"--scripts", "--tools", "--dump"}, &status);
        QCOMPARE(status, 0);
        QVERIFY2(out.startsWith("brew: not found\n  container  installed "), qPrintable(out));
        QVERIFY(out.contains("  socktainer  installed -  latest -  brew-owned false  [not installed]\n"));
        QVERIFY(out.contains("\nlogin item: off  bundle " + QFileInfo(KORVAT_BINARY).absoluteFilePath() + "\n--- install ---\n"));
        QVERIFY(out.endsWith("--- install ---\n" + Toolchain::installScript({"container", "socktainer"}) + "\n--- start ---\n"
                             + ToolJob::start().script() + "\n--- restart ---\n" + ToolJob::restart().script() + "\n"));
        QVERIFY(!korvat({"--tools"}).contains("---"));
    }

    // No display, no engine: every view is still drawn, once in each reading.
    void shotWritesEveryViewInBothReadings()
    {
        const QString dir = m_home.filePath("shots/new");
        int status = -1;
        const QStringList lines = korvat({"--shot", dir}, &status).split('\n', Qt::SkipEmptyParts);
        QCOMPARE(status, 0);
        QVERIFY(lines.size() >= 14);
        for (const char *reading : {"paper", "obsidian"}) {
            for (const char *view : {"projects", "containers", "images", "volumes"}) {
                const QString file = dir + '/' + QString::fromLatin1(view) + '-' + QString::fromLatin1(reading) + ".png";
                QVERIFY2(lines.contains(file), qPrintable(file));
                const QImage image(file);
                QCOMPARE(image.size(), QSize(1080, 700));
            }
        }
        // The two readings differ where it shows: the window's own background.
        QVERIFY(QImage(dir + "/projects-paper.png").pixelColor(600, 650) != QImage(dir + "/projects-obsidian.png").pixelColor(600, 650));

        // Software centres show the pictures the metainfo names: each is one this mode draws.
        QFile metainfo(KORVAT_METAINFO);
        QVERIFY(metainfo.open(QIODevice::ReadOnly));
        const auto named = QRegularExpression("<image>[^<]*/([^/<]+)</image>").globalMatch(QString::fromUtf8(metainfo.readAll()));
        int pictures = 0;
        for (const QRegularExpressionMatch &m : named) {
            QVERIFY2(lines.contains(dir + '/' + m.captured(1)), qPrintable(m.captured(1)));
            ++pictures;
        }
        QVERIFY(pictures > 0);
    }
};

QTEST_GUILESS_MAIN(Headless)
#include "tst_headless.moc"
