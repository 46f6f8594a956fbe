#include "testsupport.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

using namespace TestSupport;

namespace {
QString procText(qint64 pid, const QString &file)
{
    QFile f(QStringLiteral("/proc/%1/%2").arg(pid).arg(file));
    return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()).replace(QChar(0), u' ') : QString();
}

// Alive and not a zombie: a container's init may never reap what it inherits.
bool alive(qint64 pid)
{
    const QString stat = procText(pid, QStringLiteral("stat"));
    return !stat.isEmpty() && stat.section(u')', -1).trimmed().at(0) != u'Z';
}

QList<qint64> descendants(qint64 pid)
{
    QList<qint64> found;
    for (const QString &task : QDir(QStringLiteral("/proc/%1/task").arg(pid)).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        for (const QString &child : procText(pid, QStringLiteral("task/%1/children").arg(task)).split(u' ', Qt::SkipEmptyParts))
            found << child.toLongLong() << descendants(child.toLongLong());
    }
    return found;
}

// The pipes and sockets open on descriptors from `from` on, each named with its inode:
// "pipe:[123]". A shared one was inherited. (Files such as /dev/null may be opened by both,
// and anonymous inodes all read alike, so neither can tell.)
QStringList descriptors(qint64 pid, int from)
{
    QStringList targets;
    const QString dir = QStringLiteral("/proc/%1/fd").arg(pid);
    for (const QString &fd : QDir(dir).entryList(QDir::Files | QDir::System | QDir::NoDotAndDotDot)) {
        const QString target = QFile::symLinkTarget(dir + u'/' + fd);
        if (fd.toInt() >= from && (target.contains(QLatin1String("pipe:[")) || target.contains(QLatin1String("socket:["))))
            targets << target;
    }
    return targets;
}
}

// The real korvat on the private engine, ended as a session or a crash ends it.
class LifecycleLive : public QObject {
    Q_OBJECT
    QTemporaryDir m_home;
    Leftovers m_made;

    // Korvat with its window up, once its event stream child and the usage reader of the
    // running container on screen are running.
    std::unique_ptr<QProcess> start()
    {
        auto korvat = std::make_unique<QProcess>();
        auto env = QProcessEnvironment::systemEnvironment();
        env.insert("DOCKER_HOST", "unix://" + engineSocket());
        env.insert("XDG_CONFIG_HOME", m_home.filePath("config"));
        env.insert("XDG_DATA_HOME", m_home.filePath("data"));
        korvat->setProcessEnvironment(env);
        korvat->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        korvat->start(KORVAT_BINARY, QStringList());
        const auto running = [&](const char *verb) {
            const auto children = descendants(korvat->processId());
            return std::any_of(children.cbegin(), children.cend(), [&](qint64 c) { return procText(c, "cmdline").contains(verb); });
        };
        // The usage of this engine's containers is read from the kernel, with no child of its own.
        if (!QTest::qWaitFor([&] { return running(" events "); }, 30000))
            qWarning("korvat started no event stream");
        return korvat;
    }

private slots:
    void initTestCase()
    {
        REQUIRE_ENGINE();
        m_made.run("kt-life-", {});
    }
    void cleanupTestCase() { m_made.clear(); }

    void endedBySignalLeavesNoChild_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("SIGTERM, a session ending") << int(SIGTERM);
        QTest::newRow("SIGKILL, a crash") << int(SIGKILL);
    }
    void endedBySignalLeavesNoChild()
    {
        QFETCH(int, signal);
        auto korvat = start();
        const qint64 pid = korvat->processId();
        const QList<qint64> children = descendants(pid);
        QVERIFY(!children.isEmpty());

        // A child holds only its own descriptors beyond the standard three.
        const QStringList ours = descriptors(pid, 0);
        for (const qint64 child : children) {
            for (const QString &target : descriptors(child, 3))
                QVERIFY2(!ours.contains(target), qPrintable(procText(child, "cmdline") + " inherited " + target));
        }

        ::kill(pid_t(pid), signal);
        QVERIFY(korvat->waitForFinished(10000));
        if (signal == SIGTERM) {
            QCOMPARE(korvat->exitStatus(), QProcess::NormalExit);
            QCOMPARE(korvat->exitCode(), 0);
            QVERIFY(QFileInfo::exists(m_home.filePath("config/Korvat/Korvat.conf")));   // settings written
        }
        for (const qint64 child : children)
            QTRY_VERIFY2_WITH_TIMEOUT(!alive(child), qPrintable(procText(child, "cmdline")), 5000);
    }
};

QTEST_GUILESS_MAIN(LifecycleLive)
#include "tst_lifecycle_live.moc"
