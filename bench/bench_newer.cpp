// One round of newer-image checks over many tags at a local registry: Korvat's own CPU for the
// round (every thread, user and system), and from the registry's access log what it was asked.
// Usage: bench_newer REPOSITORY COUNT ACCESS_LOG, for the tags 1..COUNT of REPOSITORY.
// Run through bench/run.sh, which starts the registry and pushes the tags.

#include "tagcheck.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTextStream>
#include <QThread>

#include <sys/resource.h>

namespace {

double cpuSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_utime.tv_sec + usage.ru_utime.tv_usec / 1e6 + usage.ru_stime.tv_sec + usage.ru_stime.tv_usec / 1e6;
}

// The access log's request lines: "HEAD /v2/app/manifests/1".
QStringList requests(const QString &log)
{
    static const QRegularExpression line(QStringLiteral(R"re("([A-Z]+) (\S+) HTTP/[0-9.]+")re"));
    QStringList found;
    QFile file(log);
    if (file.open(QIODevice::ReadOnly))
        for (auto it = line.globalMatch(QString::fromUtf8(file.readAll())); it.hasNext();) {
            const auto m = it.next();
            found << m.captured(1) + u' ' + m.captured(2);
        }
    return found;
}

// The registry logs a request once it has answered: the count once it stops growing.
QStringList settled(const QString &log)
{
    QStringList now = requests(log);
    for (int i = 0; i < 25; ++i) {
        QThread::msleep(200);
        QStringList later = requests(log);
        if (later.size() == now.size())
            break;
        now = std::move(later);
    }
    return now;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTextStream out(stdout);
    const QStringList args = app.arguments();
    if (args.size() != 4) {
        out << "usage: bench_newer REPOSITORY COUNT ACCESS_LOG\n";
        return 2;
    }
    const QString repository = args[1], log = args[3];
    const int count = args[2].toInt();
    QList<ImageReference> tags;
    for (int i = 1; i <= count; ++i)
        tags << *ImageReference::parse(repository + u':' + QString::number(i));

    const qsizetype mark = settled(log).size();
    auto ledger = std::make_shared<TagLedger>();
    RegistryClient::PlainHttp plainHttp = &RegistryClient::isLoopback;
    QElapsedTimer wall;
    const double before = cpuSeconds();
    wall.start();
    QCoro::waitFor(TagCheckRun::ask(tags, ledger, std::move(plainHttp)));
    const qint64 ms = wall.elapsed();
    const double cpu = cpuSeconds() - before;

    const QStringList asked = settled(log).mid(mark);
    static const QRegularExpression manifest(QStringLiteral("^(HEAD|GET) /v2/.+/manifests/"));
    int heads = 0, gets = 0;
    for (const QString &line : asked) {
        heads += line.startsWith(QLatin1String("HEAD ")) && manifest.match(line).hasMatch();
        gets += line.startsWith(QLatin1String("GET "));
    }
    int read = 0;
    for (const TagCheck &check : std::as_const(ledger->tags))
        read += check.last == RegistryAnswer::Kind::Digest && !check.remote.isEmpty();
    out << QStringLiteral("one check of %1 tags: Korvat's CPU %2 s (budget 1 s), %3 ms from start to the last answer\n")
               .arg(count).arg(cpu, 0, 'f', 3).arg(ms);
    out << QStringLiteral("registry asked: %1 HEAD of a manifest (budget %2), %3 GET (budget 0), %4 requests in all; %5 of %2 digests read\n")
               .arg(heads).arg(count).arg(gets).arg(asked.size()).arg(read);
    return read == count ? 0 : 1;
}
