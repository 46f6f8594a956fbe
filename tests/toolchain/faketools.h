#pragma once

#include "testsupport.h"
#include "toolchain.h"

#include <QTemporaryDir>

// Stand-ins for brew, container, socktainer and docker, which cannot exist here as the
// toolchain expects them. Each answers from files in its directory, and only the fakes are
// on the search path while one is in use.
class FakeTools {
public:
    explicit FakeTools(bool withBrew = true)
    {
        using TestSupport::writeExecutable;
        const QByteArray head = "#!/bin/sh\nD=" + m_dir.path().toUtf8() + "\n";
        if (withBrew)
            writeExecutable(path("brew"), head + R"(echo "$*" >> $D/brew.log
case "$1" in
  list) /bin/cat $D/list.txt 2>/dev/null ;;
  info) /bin/cat $D/info.json 2>/dev/null ;;
  update)
    [ -f $D/update.sleep ] && /bin/sleep $(/bin/cat $D/update.sleep)
    [ -f $D/update.err ] && /bin/cat $D/update.err >&2
    exit $(/bin/cat $D/update.exit 2>/dev/null || echo 0) ;;
esac
)");
        for (const char *tool : {"container", "socktainer", "docker"}) {
            writeExecutable(path(tool), head + "T=" + tool + R"(
if [ "$1 $2" = "system status" ]; then
  /bin/cat $D/status.txt 2>/dev/null; /bin/cat $D/status.err >&2 2>/dev/null
  exit $(/bin/cat $D/status.exit 2>/dev/null || echo 0)
fi
[ "$1" = compose ] && T=compose
[ -f $D/$T.version ] || exit 127
/bin/cat $D/$T.version
)");
        }
        Toolchain::Setup setup;
        setup.pathPrefix = m_dir.path() + u':';
        setup.brewLocations = {path("missing-brew"), path("brew")};
        Toolchain::setSetup(setup);
        m_path = qgetenv("PATH");
        qputenv("PATH", m_dir.path().toUtf8());
    }
    ~FakeTools()
    {
        Toolchain::setSetup({});
        qputenv("PATH", m_path);
    }

    QString path(const QString &name) const { return m_dir.filePath(name); }
    void set(const QString &file, const QByteArray &content) const { TestSupport::writeFile(path(file), content); }
    void remove(const QString &file) const { QFile::remove(path(file)); }
    // What brew was asked, one call per line.
    QString brewLog() const
    {
        QFile f(path("brew.log"));
        return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
    }

private:
    QTemporaryDir m_dir;
    QByteArray m_path;
};
