#include "listorder.h"

#include "docker.h"

#include <QCollator>
#include <algorithm>

namespace ListOrder {

QList<Key> keysFor(Category c)
{
    switch (c) {
    case Category::Projects:
    case Category::Networks:
    case Category::Disk: return {};
    case Category::Containers: return {Key::Listed, Key::Name, Key::State, Key::Created};
    case Category::Images: return {Key::Listed, Key::Name, Key::Created, Key::Size};
    case Category::Volumes: return {Key::Listed, Key::Name};
    }
    return {};
}

QString label(Key k)
{
    switch (k) {
    case Key::Listed: return QStringLiteral("As listed");
    case Key::Name: return QStringLiteral("Name");
    case Key::State: return QStringLiteral("State");
    case Key::Created: return QStringLiteral("Newest");
    case Key::Size: return QStringLiteral("Largest");
    }
    return {};
}

QString raw(Key k)
{
    switch (k) {
    case Key::Listed: return QStringLiteral("listed");
    case Key::Name: return QStringLiteral("name");
    case Key::State: return QStringLiteral("state");
    case Key::Created: return QStringLiteral("created");
    case Key::Size: return QStringLiteral("size");
    }
    return {};
}

std::optional<Key> fromRaw(const QString &text)
{
    for (Key k : {Key::Listed, Key::Name, Key::State, Key::Created, Key::Size}) {
        if (raw(k) == text)
            return k;
    }
    return std::nullopt;
}

namespace {

const QCollator &collator()
{
    static const QCollator c = [] {
        // The C locale compares code points and ignores numeric mode.
        const QLocale system = QLocale::system();
        QCollator made(system.language() == QLocale::C ? QLocale(QLocale::English) : system);
        made.setNumericMode(true);
        made.setCaseSensitivity(Qt::CaseInsensitive);
        return made;
    }();
    return c;
}

int stateRank(const QString &state)
{
    static const QStringList order{QStringLiteral("running"), QStringLiteral("restarting"), QStringLiteral("paused"),
                                   QStringLiteral("created"), QStringLiteral("exited"), QStringLiteral("dead")};
    const qsizetype at = order.indexOf(state);
    return at < 0 ? int(order.size()) : int(at);
}

// Newest first; rows with no date last.
bool newer(const QDateTime &a, const QDateTime &b)
{
    if (a.isValid() != b.isValid())
        return a.isValid();
    return a > b;
}

template<typename T, typename Less>
QList<T> stable(QList<T> rows, Less less)
{
    std::stable_sort(rows.begin(), rows.end(), less);
    return rows;
}
}

QList<Container> sorted(QList<Container> rows, Key k)
{
    const auto byName = [](const Container &a, const Container &b) { return collator().compare(a.name, b.name) < 0; };
    switch (k) {
    case Key::Name: return stable(std::move(rows), byName);
    case Key::State:
        return stable(std::move(rows), [&](const Container &a, const Container &b) {
            const int ra = stateRank(a.state), rb = stateRank(b.state);
            return ra != rb ? ra < rb : byName(a, b);
        });
    case Key::Created:
        return stable(std::move(rows), [](const Container &a, const Container &b) { return newer(a.created, b.created); });
    case Key::Listed:
    case Key::Size: break;
    }
    return rows;
}

QList<DockerImage> sorted(QList<DockerImage> rows, Key k)
{
    switch (k) {
    case Key::Name:
        return stable(std::move(rows), [](const DockerImage &a, const DockerImage &b) {
            return collator().compare(a.repository + u':' + a.tag, b.repository + u':' + b.tag) < 0;
        });
    case Key::Created:
        return stable(std::move(rows), [](const DockerImage &a, const DockerImage &b) { return newer(a.created, b.created); });
    case Key::Size: {
        // What reads as no size goes last.
        const auto bytes = [](const DockerImage &i) { return Docker::parseByteSize(i.size).value_or(-1); };
        return stable(std::move(rows), [&](const DockerImage &a, const DockerImage &b) { return bytes(a) > bytes(b); });
    }
    case Key::Listed:
    case Key::State: break;
    }
    return rows;
}

QList<DockerVolume> sorted(QList<DockerVolume> rows, Key k)
{
    if (k == Key::Name)
        return stable(std::move(rows), [](const DockerVolume &a, const DockerVolume &b) { return collator().compare(a.name, b.name) < 0; });
    return rows;
}

}
