#pragma once

#include "appstore.h"
#include "dockererror.h"

#include <QFuture>
#include <QList>
#include <QtConcurrent>
#include <optional>

// One list read on a worker, or the engine's words. The error is never thrown across the
// future: Qt 6.4's result() can miss an exception stored while it waits, and asserts.
template<typename T>
struct Listed {
    QList<T> rows;
    std::optional<QString> error;
    // The rows, or the engine's words thrown again on the thread that waits.
    QList<T> take() const
    {
        if (error)
            throw DockerError(*error);
        return rows;
    }
};

template<typename T, typename Query>
QFuture<Listed<T>> listOnWorker(Query query)
{
    return QtConcurrent::run(AppStore::workers(), [query]() -> Listed<T> {
        try {
            return {query(), std::nullopt};
        } catch (const DockerError &e) {
            return {{}, e.message()};
        }
    });
}
