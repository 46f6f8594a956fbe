#pragma once

#include <QHashFunctions>
#include <QString>

// Where a docker command goes: a named docker context, or a Docker-API unix socket.
struct Runtime {
    enum class Kind { Context, Socket };

    Kind kind = Kind::Context;
    QString name;
    QString path;   // only for sockets

    static Runtime context(const QString &name) { return {Kind::Context, name, {}}; }
    static Runtime socket(const QString &name, const QString &path) { return {Kind::Socket, name, path}; }
    bool isSocket() const { return kind == Kind::Socket; }

    friend bool operator==(const Runtime &, const Runtime &) = default;
};

inline size_t qHash(const Runtime &r, size_t seed = 0)
{
    return qHashMulti(seed, int(r.kind), r.name, r.path);
}

// One row of the runtime picker.
struct RuntimeEntry {
    Runtime runtime;
    QString endpoint;
    bool reachable = false;

    friend bool operator==(const RuntimeEntry &, const RuntimeEntry &) = default;
};
