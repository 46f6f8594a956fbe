#pragma once

#include "container.h"

#include <QList>
#include <QUrl>

// Where a browser reaches what a container publishes: one address per published TCP port.
namespace PortLinks {

struct Link {
    QString label;   // "localhost:8080"
    QUrl url;        // http://localhost:8080

    friend bool operator==(const Link &, const Link &) = default;
};

// endpoint: the runtime's, as `docker context ls` gives it. A tcp:// or ssh:// endpoint is a
// remote engine, whose ports are on its host; a unix socket's are on this machine.
// A port bound to every address opens on localhost, one bound to an address on that address.
// UDP ports are left out, and a port published on both address families appears once.
QList<Link> links(const QList<PortBinding> &ports, const QString &endpoint);

}
