#pragma once

#include "appstore.h"
#include "fakeengine.h"

#include <QCoroTask>

// Stores over a FakeEngine: nothing happens that the test did not ask for.
namespace TestSupport {

// Polls a minute apart and no event stream.
inline PollTiming quietTiming()
{
    PollTiming timing;
    timing.visiblePoll = timing.hiddenPoll = std::chrono::minutes(1);
    timing.followEvents = false;
    return timing;
}

// The engine holds these now, and the store has listed them.
inline void show(AppStore &store, FakeEngine &engine, const FakeEngine::Holdings &holdings)
{
    engine.setHoldings(holdings, store.runtime() ? store.runtime()->name : QString());
    QCoro::waitFor(store.refresh());
}

inline std::optional<Container> containerNamed(const AppStore &store, const QString &name)
{
    for (const auto &c : store.containers())
        if (c.name == name)
            return c;
    return std::nullopt;
}

inline std::optional<ComposeProject> projectNamed(const AppStore &store, const QString &name)
{
    for (const auto &p : store.projects())
        if (p.name == name)
            return p;
    return std::nullopt;
}

} // namespace TestSupport
