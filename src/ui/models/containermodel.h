#pragma once

#include "container.h"
#include "keyedlistmodel.h"
#include "afterrestart.h"
#include "rowmarks.h"
#include "runtime.h"

#include <QHash>
#include <functional>
#include <QPointer>
#include <optional>

class UsageWatch;

// Where the machine use of an engine's containers is read, by the engine's name.
using UsageOf = std::function<UsageWatch *(const QString &engine)>;
// What is known of whether the registry has moved on from the image a container runs.
using ContainerNewerOf = std::function<std::optional<ImageFreshness>(const Container &)>;
using ContainerComebackOf = std::function<std::optional<Comeback>(const Container &)>;

#include <QtQml/qqmlregistration.h>

// Containers keyed by id: the Containers section, and each project card's own rows.
class ContainerModel : public KeyedRowsModel<Container> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Containers come from the store")
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    enum Role {
        ContainerIdRole = Qt::UserRole + 1,
        NameRole,
        ImageRole,
        ContainerStateRole,
        StatusRole,
        PortsRole,
        ProjectRole,
        DotRole,
        RunningRole,
        FailedRole,
        ActionLabelRole,
        PrimaryQuietRole,
        PauseLabelRole,
        TerminalCommandRole,
        DescriptionRole,
        LinksRole,
        // Machine use, while the row is on screen and its container runs.
        UsageRole,
        UsageSpokenRole,
        TrendRole,
        // Its compose service; empty outside a project.
        ServiceRole,
        // The registry has a newer image for its tag, and why Korvat says so.
        NewerRole,
        NewerReasonRole,
        // It runs now and is not sure to run once its engine has started again: the mark's
        // words, empty for none; and why.
        StaysRole,
        StaysReasonRole,
        // Restart policy unless-stopped would bring it back: "Keep running after restarts".
        KeepableRole,
    };
    Q_ENUM(Role)

    using KeyedRowsModel::KeyedRowsModel;

    void setContainers(const QList<Container> &containers);
    // The runtime the terminal command of each row names, and its endpoint, which says
    // where the rows' ports are reached.
    void setRuntime(const std::optional<Runtime> &runtime, const QString &endpoint = {});
    // Each engine's runtime and endpoint by its name, for rows of several engines.
    void setEngines(const QHash<QString, RuntimeEntry> &engines);
    const QList<Container> &containers() const { return m_rows; }
    // Where the rows' machine use is read; rows ask for it through onScreen().
    void setUsage(UsageWatch *usage);
    // Rows of several engines: each engine's watch reads its own rows.
    void setUsageOf(UsageOf usageOf);
    // Where each row learns whether its image is behind; asked again at every setContainers
    // and markNewer, and only rows whose answer changed are told.
    void setNewerOf(ContainerNewerOf newerOf);
    void markNewer();
    // Where each row learns whether it comes back after a restart; asked again at every
    // setContainers and markComebacks, and only rows whose answer changed are told.
    void setComebackOf(ContainerComebackOf comebackOf);
    void markComebacks();
    // A row's view came or went. Only what is on screen is read, and only while it runs.
    Q_INVOKABLE void onScreen(const QString &containerId, bool shown);

    // "running", "paused", "exited" or "other": which colour the status dot takes.
    static QString dot(const Container &c);

    QHash<int, QByteArray> roleNames() const override;
    ~ContainerModel() override;

protected:
    QVariant roleData(const Container &row, int role) const override;

private:
    void askForUsage();
    void usageSampled(const QSet<QString> &containerIds);

    std::optional<Runtime> m_runtime;
    QHash<QString, RuntimeEntry> m_engines;
    ContainerNewerOf m_newerOf;
    RowMarks m_newer;
    ContainerComebackOf m_comebackOf;
    RowMarks m_stays;
    UsageOf m_usageOf;
    // The watches asked for rows, each told when it has nothing more to read for this model.
    QList<QPointer<UsageWatch>> m_watches;
    // Rows on screen, by id: a row can be shown by two views at once.
    QHash<QString, int> m_onScreen;
    QString m_endpoint;
};
