#include "docker.h"
#include "longwork.h"
#include "worktext.h"

#include <QTest>

Q_DECLARE_METATYPE(Work)

namespace {
using Step = DeletionStep;

Work pull(const QStringList &lines)
{
    Work w{1, Work::Kind::Pull, "nginx:1.27"};
    for (const QString &line : lines)
        Docker::readPull(w.pull, line);
    return w;
}

Work compose(const QStringList &lines, Work::Kind kind = Work::Kind::Up)
{
    Work w{1, kind, "shop"};
    for (const QString &line : lines)
        Docker::readCompose(w.compose, line, "shop");
    return w;
}

Work deletion(const QList<Step::State> &states)
{
    Work w{1, Work::Kind::Deletion, "shop"};
    w.steps = {{Step::Kind::Containers, "shop"}, {Step::Kind::Volume, "shop_data"}, {Step::Kind::Directory, "/srv/shop"}};
    for (int i = 0; i < states.size(); ++i)
        w.steps[i].state = states[i];
    return w;
}

Work moving(Work::Kind kind, qint64 bytes, qint64 total)
{
    Work w{1, kind, "shop_data"};
    w.moved = {bytes, total};
    return w;
}
}

class WorkTextTest : public QObject {
    Q_OBJECT

private slots:
    // What a bar says, what the tray panel's line says, and what is said once it is stopped.
    void saysHowFarItGot_data()
    {
        QTest::addColumn<Work>("work");
        QTest::addColumn<QString>("detail");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("stopped");
        using State = Step::State;
        QTest::newRow("pull, sizes still coming")
            << pull({"d6dbecfd0472: Pulling fs layer", "12ce55c3dd3c: Pulling fs layer", "d6dbecfd0472: Downloading [>   ]  1.5MB/3MB"})
            << "0 of 2 layers · 1.5 MB" << "Pulling nginx:1.27 — 12%" << "Stopped after 0 of 2 layers";
        QTest::newRow("pull, every size told")
            << pull({"36ddaf6ec3db: Already exists", "d6dbecfd0472: Pulling fs layer", "12ce55c3dd3c: Pulling fs layer",
                     "d6dbecfd0472: Downloading [=====>]  3MB/3MB", "d6dbecfd0472: Pull complete", "12ce55c3dd3c: Downloading [=>   ]  1MB/2MB"})
            << "1 of 2 layers · 4.0 MB of 5.0 MB" << "Pulling nginx:1.27 — 62%" << "Stopped after 1 of 2 layers";
        QTest::newRow("pull of what the engine has") << pull({"Status: Image is up to date for nginx:1.27"}) << "" << "Pulling nginx:1.27"
                                                      << "Stopped before any layer came";
        QTest::newRow("up") << compose({" Container shop-web-1  Started", " Container shop-db-1  Starting", " worker Pulling"}) << "1 of 3 started"
                            << "Bringing up shop" << "Up stopped: web started, db created, worker and cache not created";
        // One service's layers all came while three had yet to name theirs: the bar goes by services.
        QTest::newRow("project pull") << compose({" web Pulled", " db Pulling", " worker Pulling", " cache Pulling",
                                                  "d6dbecfd0472: Pull complete"}, Work::Kind::ProjectPull)
                                      << "1 of 4 services · 1 of 1 layers" << "Pulling images for shop — 25%" << "Pull stopped after web; nothing was recreated";
        QTest::newRow("deletion under way") << deletion({State::Done, State::Running}) << "1 of 3 steps" << "Deleting shop — 33%"
                                            << "Deletion stopped after 1 of 3 steps";
        QTest::newRow("deletion, nothing done") << deletion({State::Running}) << "0 of 3 steps" << "Deleting shop — 0%"
                                                << "Deletion stopped: nothing was removed";
        QTest::newRow("backup") << moving(Work::Kind::Backup, 12'000'000, 40'000'000) << "12.0 MB of 40.0 MB" << "Backing up shop_data — 30%"
                                << "Backup of shop_data stopped; no file was written";
        QTest::newRow("restore") << moving(Work::Kind::Restore, 12'000'000, 40'000'000) << "12.0 MB of 40.0 MB"
                                 << "Restoring shop_data — 30%" << "Restore into shop_data stopped after 12.0 MB; the volume holds part of the archive";
    }
    void saysHowFarItGot()
    {
        QFETCH(Work, work);
        QTEST(WorkText::detail(work), "detail");
        QTEST(WorkText::line(work), "line");
        // cache is the project's, though compose had not reached it.
        QTEST(WorkText::stopped(work, {"web", "db", "worker", "cache"}), "stopped");
    }

    void namesWhatABackupLeftOut()
    {
        Work work = moving(Work::Kind::Backup, 1, 1);
        QCOMPARE(WorkText::backedUp(work, "/b.tar"), "Backed up shop_data to /b.tar");
        work.moved.leftOut = {"run/a.sock"};
        QCOMPARE(WorkText::backedUp(work, "/b.tar"), "Backed up shop_data to /b.tar, without run/a.sock: a socket cannot be archived");
        work.moved.leftOut = {"a", "b", "c", "d", "e"};
        QCOMPARE(WorkText::backedUp(work, "/b.tar"), "Backed up shop_data to /b.tar, without a, b, c and 2 more: sockets cannot be archived");
    }

    // A worker's result can arrive before its last hand-over: the end must still read the
    // client's last line (it once said "Pulled nginx:1.27" instead).
    void theEndReadsTheLastLine()
    {
        LongWork work;
        const int id = work.begin(Work::Kind::Pull, "nginx:1.27");
        work.watch(id).line("Status: Downloaded newer image for nginx:1.27");
        work.settle(id);
        QCOMPARE(WorkText::pulled(*work.find(id)), "Downloaded newer image for nginx:1.27");
    }
};

QTEST_GUILESS_MAIN(WorkTextTest)
#include "tst_worktext.moc"
