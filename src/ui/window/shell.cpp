#include "shell.h"
#include "settings.h"

#include "appstore.h"
#include "mergedview.h"
#include "newertext.h"
#include "toolchainstore.h"

#include <QSettings>
#include <QVariantMap>

namespace {
const QList<std::pair<Category, const Setting<QString> *>> &sortSettings()
{
    static const QList<std::pair<Category, const Setting<QString> *>> all{
        {Category::Containers, &Settings::containersSort}, {Category::Images, &Settings::imagesSort},
        {Category::Volumes, &Settings::volumesSort}};
    return all;
}
}

Shell::Shell(AppStore *store, ToolchainStore *toolchain, QSettings *settings, QObject *parent)
    : QObject(parent), m_store(store), m_toolchain(toolchain), m_settings(settings), m_disk(store)
{
    if (const auto stored = Categories::fromRaw(Settings::category.read(*m_settings)))
        m_category = *stored;
    for (const auto &[c, setting] : sortSettings()) {
        if (const auto key = ListOrder::fromRaw(setting->read(*m_settings)); key && ListOrder::keysFor(c).contains(*key))
            m_sort.insert(c, *key);
    }

    using Kind = Work::Kind;
    LongWork *work = &m_store->work();
    m_pulls = new WorkModel(work, {Kind::Pull}, this);
    m_transfers = new WorkModel(work, {Kind::Backup, Kind::Restore}, this);
    m_ups = new WorkModel(work, {Kind::Up, Kind::ProjectPull}, this);
    m_work = new WorkModel(work, {Kind::Pull, Kind::Up, Kind::ProjectPull, Kind::Deletion, Kind::Backup, Kind::Restore, Kind::Reclaim}, this);
    m_projects.setWork(m_ups);
    const auto usageOf = [store = QPointer<AppStore>(m_store)](const QString &engine) { return store ? store->usageOf(engine) : nullptr; };
    m_containers.setUsageOf(usageOf);
    m_projects.setUsageOf(usageOf);
    // A row of one engine's own list has no engine of its own: it is the selected one's.
    const auto engineOf = [store = QPointer<AppStore>(m_store)](const QString &engine) {
        return engine.isEmpty() ? store->selected().name() : engine;
    };
    // Rows are asked only once some image is behind its tag: a refresh of 1,000 rows costs
    // nothing until then.
    const auto containerNewer = [store = QPointer<AppStore>(m_store), engineOf](const Container &c) {
        return store && store->newer().anyNewer() ? store->newer().ofContainer(engineOf(c.engine), c) : std::nullopt;
    };
    m_containers.setNewerOf(containerNewer);
    m_projects.setNewerOf(containerNewer);
    m_images.setNewerOf([store = QPointer<AppStore>(m_store), engineOf](const DockerImage &i) {
        return store && store->newer().anyNewer() ? store->newer().ofImage(engineOf(i.engine), i) : std::nullopt;
    });
    const auto comebackOf = [store = QPointer<AppStore>(m_store), engineOf](const Container &c) {
        return store ? store->restarts().of(engineOf(c.engine), c) : std::nullopt;
    };
    m_containers.setComebackOf(comebackOf);
    m_projects.setComebackOf(comebackOf);
    connect(&m_store->restarts(), &RestartWatch::changed, this, [this] {
        m_containers.markComebacks();
        m_projects.markComebacks();
    });
    NewerImageWatch *newer = &m_store->newer();
    connect(newer, &NewerImageWatch::changed, this, [this] {
        m_containers.markNewer();
        m_projects.markNewer();
        m_images.markNewer();
        updateNewer();
    });
    connect(newer, &NewerImageWatch::checkingChanged, this, &Shell::checkingNewerChanged);
    connect(m_store, &AppStore::containersChanged, this, &Shell::updateNewer);
    connect(m_store, &AppStore::containersChanged, this, &Shell::updateContainers);
    connect(m_store, &AppStore::filterChanged, this, &Shell::updateContainers);
    connect(m_store, &AppStore::projectsChanged, this, &Shell::updateProjects);
    connect(m_store, &AppStore::pullsChanged, this, &Shell::updateProjects);
    connect(&m_store->failures(), &FailureWatch::mutedChanged, this, &Shell::updateProjects);
    const auto images = [this] { updateImages(); };
    const auto volumes = [this] { updateVolumes(); };
    const auto runtimes = [this] {
        m_runtimes.setRuntimes(m_store->runtimes(), m_store->runtime(), int(m_store->engines().size()), m_store->showAll());
        const bool several = m_store->shown().several();
        m_containers.setSeveral(several);
        m_projects.setSeveral(several);
        m_images.setSeveral(several);
        m_volumes.setSeveral(several);
        m_networks.setSeveral(several);
        QString endpoint;
        for (const RuntimeEntry &entry : m_store->runtimes()) {
            if (entry.runtime == m_store->runtime())
                endpoint = entry.endpoint;
        }
        m_containers.setRuntime(m_store->runtime(), endpoint);
        m_projects.setRuntime(m_store->runtime(), endpoint);
        QHash<QString, RuntimeEntry> engines;
        for (const RuntimeEntry &entry : m_store->runtimes())
            engines.insert(entry.runtime.name, entry);
        m_containers.setEngines(engines);
        m_projects.setEngines(engines);
    };
    connect(m_store, &AppStore::imagesChanged, this, images);
    connect(m_store, &AppStore::filterChanged, this, images);
    connect(m_store, &AppStore::volumesChanged, this, volumes);
    connect(m_store, &AppStore::containersChanged, this, volumes);   // what mounts them
    connect(m_store, &AppStore::filterChanged, this, volumes);
    connect(m_store, &AppStore::networksChanged, this, &Shell::updateNetworks);
    connect(m_store, &AppStore::filterChanged, this, &Shell::updateNetworks);
    connect(m_store, &AppStore::runtimesChanged, this, runtimes);
    connect(m_store, &AppStore::runtimeChanged, this, runtimes);
    connect(m_store, &AppStore::enginesChanged, this, runtimes);
    connect(m_store, &AppStore::shownChanged, this, runtimes);
    // An engine's first answer adds its rows to what all shows.
    connect(m_store, &AppStore::containersChanged, this, [this, runtimes] {
        if (m_store->shown().several() != m_containers.several())
            runtimes();
    });
    connect(m_store, &AppStore::containersChanged, this, &Shell::countersChanged);
    connect(m_store, &AppStore::filterChanged, this, &Shell::filteringChanged);
    connect(m_store, &AppStore::filterChanged, this, &Shell::emptyChanged);
    connect(m_store, &AppStore::runtimeChanged, this, &Shell::emptyChanged);
    connect(this, &Shell::categoryChanged, this, &Shell::emptyChanged);
    connect(this, &Shell::categoryChanged, this, &Shell::sortChanged);
    for (KeyedListModel *model : std::initializer_list<KeyedListModel *>{&m_projects, &m_containers, &m_images, &m_volumes, &m_networks})
        connect(model, &KeyedListModel::countChanged, this, &Shell::sectionCountChanged);
    connect(this, &Shell::categoryChanged, this, &Shell::sectionCountChanged);

    connect(m_disk.items(), &KeyedListModel::countChanged, this, &Shell::sectionCountChanged);
    const auto diskShown = [this] { m_disk.setShown(m_category == Category::Disk && m_store->windowVisible()); };
    connect(this, &Shell::categoryChanged, this, diskShown);
    connect(m_store, &AppStore::windowVisibleChanged, this, diskShown);
    connect(m_store, &AppStore::filterChanged, this, [this] { m_disk.setFilter(m_store->filter()); });

    m_staleTick.setInterval(1000);
    connect(&m_staleTick, &QTimer::timeout, this, &Shell::updateStale);
    connect(m_store, &AppStore::staleChanged, this, &Shell::updateStale);

    updateContainers();
    updateProjects();
    updateStale();
    updateNewer();
    images();
    volumes();
    updateNetworks();
    runtimes();
}

void Shell::updateContainers()
{
    m_containers.setContainers(ListOrder::sorted(m_store->matchingContainers(), sortOf(Category::Containers)));
}

void Shell::updateImages()
{
    m_images.setImages(ListOrder::sorted(m_store->matchingImages(), sortOf(Category::Images)));
}

void Shell::updateVolumes()
{
    const QList<DockerVolume> volumes = ListOrder::sorted(m_store->matchingVolumes(), sortOf(Category::Volumes));
    m_volumes.setVolumes(volumes, Docker::mountedVolumes(m_store->containers(), m_store->volumes()));
}

void Shell::updateNetworks()
{
    m_networks.setNetworks(m_store->matchingNetworks());
}

QStringList Shell::sortChoices() const
{
    QStringList labels;
    for (ListOrder::Key k : ListOrder::keysFor(m_category))
        labels.append(ListOrder::label(k));
    return labels;
}

int Shell::sortIndex() const
{
    return int(ListOrder::keysFor(m_category).indexOf(sortOf(m_category)));
}

void Shell::setSortIndex(int index)
{
    const QList<ListOrder::Key> keys = ListOrder::keysFor(m_category);
    if (index < 0 || index >= keys.size() || keys[index] == sortOf(m_category))
        return;
    m_sort.insert(m_category, keys[index]);
    for (const auto &[c, setting] : sortSettings()) {
        if (c == m_category)
            setting->write(*m_settings, ListOrder::raw(keys[index]));
    }
    // The models move their rows into the new order; nothing is rebuilt.
    updateContainers();
    updateImages();
    updateVolumes();
    emit sortChanged();
}

void Shell::updateProjects()
{
    // Each engine's pulls, by project on that engine.
    QHash<QString, PullSummary> pulls;
    for (const EngineStore *engine : m_store->engines()) {
        const QHash<QString, PullSummary> its = m_store->pulls(engine->name());
        for (auto it = its.cbegin(); it != its.cend(); ++it)
            pulls.insert(MergedView::rowKey(engine->name(), it.key()), it.value());
    }
    m_projects.setProjects(m_store->projects(), Docker::ungrouped(m_store->matchingContainers()), m_store->directories(),
                           Settings::mutedProjects.read(*m_settings), m_store->definitions().read(), pulls);
}

void Shell::updateNewer()
{
    // Counted by reference: the same tag run on two engines is one image to pull.
    QSet<QString> references;
    const QList<MergedView::Part> parts = m_store->newer().anyNewer() ? m_store->shown().parts() : QList<MergedView::Part>();
    for (const MergedView::Part &part : parts) {
        for (const Container &c : part.containers) {
            const auto freshness = m_store->newer().ofContainer(part.engine, c);
            if (freshness && freshness->state == ImageFreshness::State::Newer)
                references.insert(freshness->reference);
        }
    }
    const QString line = NewerText::imagesLine(int(references.size()));
    if (line == m_newerLine)
        return;
    m_newerLine = line;
    emit newerLineChanged();
}

bool Shell::checkingNewer() const { return m_store->newer().checking(); }

void Shell::checkNewer()
{
    m_store->newer().checkNow();
}

void Shell::updateStale()
{
    // Each engine shown says for itself how long it has kept the window waiting; named
    // only where rows of several are shown.
    const MergedView shown = m_store->shown();
    QStringList lines;
    for (const EngineStore *engine : m_store->engines()) {
        const bool isShown = std::any_of(shown.parts().cbegin(), shown.parts().cend(), [&](const MergedView::Part &p) { return p.engine == engine->name(); });
        if (!isShown || !engine->stale())
            continue;
        const qint64 waited = engine->waitingSince().secsTo(m_store->timing().clock());
        lines << staleLine(waited, engine->listedAt(), QLocale(), shown.several() ? engine->name() : QString());
    }
    const QString text = lines.join(u'\n');
    if (text.isEmpty())
        m_staleTick.stop();
    else if (!m_staleTick.isActive())
        m_staleTick.start();
    if (text == m_staleText)
        return;
    m_staleText = text;
    emit staleTextChanged();
}

QString Shell::staleLine(qint64 waitedSeconds, const QDateTime &listedAt, const QLocale &locale, const QString &engine)
{
    const QString waited = waitedSeconds < 120 ? QString::number(std::max<qint64>(waitedSeconds, 0)) + QStringLiteral(" s")
                                               : QString::number(waitedSeconds / 60) + QStringLiteral(" min");
    const QString head = (engine.isEmpty() ? QStringLiteral("Engine") : engine) + QStringLiteral(" has not answered for ") + waited;
    if (!listedAt.isValid())
        return head + QStringLiteral(" — nothing listed yet");
    // Minutes are enough to recognise a time of day; some locales' short format has seconds.
    const QString format = locale.timeFormat(QLocale::ShortFormat).remove(QStringLiteral(":ss"));
    return head + QStringLiteral(" — showing what it listed at ") + locale.toString(listedAt.time(), format);
}

QVariantList Shell::categories() const
{
    QVariantList list;
    for (Category c : Categories::all)
        list.append(QVariantMap{{QStringLiteral("category"), int(c)}, {QStringLiteral("label"), Categories::label(c)},
                                {QStringLiteral("icon"), Categories::icon(c)}});
    return list;
}

void Shell::setCategory(int category)
{
    if (category < 0 || category >= int(Categories::shown.size()))
        return;
    const auto next = Category(category);
    Settings::category.write(*m_settings, Categories::raw(next));
    if (next == m_category)
        return;
    m_category = next;
    emit categoryChanged();
}

int Shell::countOf(int category) const
{
    switch (Category(category)) {
    case Category::Projects: return m_projects.projectCount();
    case Category::Containers: return m_containers.count();
    case Category::Images: return m_images.count();
    case Category::Volumes: return m_volumes.count();
    case Category::Networks: return m_networks.count();
    case Category::Disk: return m_disk.items()->count();
    }
    return 0;
}

int Shell::sectionCount() const
{
    // The projects section also shows the containers that belong to no project.
    return m_category == Category::Projects ? m_projects.count() : countOf(int(m_category));
}

QList<int> Shell::counts() const
{
    QList<int> list;
    for (Category c : Categories::all)
        list.append(countOf(int(c)));
    return list;
}

QStringList Shell::spokenCounts() const
{
    QStringList list;
    for (Category c : Categories::all)
        list.append(Categories::spoken(c, countOf(int(c))));
    return list;
}

QString Shell::runningText() const
{
    return QString::number(m_store->runningCount()) + QStringLiteral(" RUNNING");
}

QString Shell::stoppedText() const
{
    // Both over every engine shown.
    const MergedView shown = m_store->shown();
    return QString::number(shown.containers().size() - shown.running()) + QStringLiteral(" STOPPED");
}

bool Shell::filtering() const { return !m_store->filter().isEmpty(); }

QString Shell::emptyIcon() const
{
    return filtering() ? QStringLiteral("line.3.horizontal.decrease.circle") : Categories::icon(m_category);
}

QString Shell::emptyDetail() const
{
    if (filtering())
        return QStringLiteral("Nothing matches “") + m_store->filter() + QStringLiteral("”.");
    const QString where = m_store->runtime() ? m_store->runtime()->name : QStringLiteral("this runtime");
    switch (m_category) {
    case Category::Projects: return QStringLiteral("No compose projects on ") + where + QStringLiteral(" yet. Add one from its directory with the + button.");
    case Category::Containers: return QStringLiteral("No containers on ") + where + u'.';
    case Category::Images: return QStringLiteral("No images on ") + where + u'.';
    case Category::Volumes: return QStringLiteral("No volumes on ") + where + u'.';
    case Category::Networks: return QStringLiteral("No networks on ") + where + u'.';
    case Category::Disk: return QStringLiteral("Nothing takes space on ") + where + u'.';
    }
    return {};
}

void Shell::firstShown()
{
    m_store->start();
    const bool enabled = Settings::checkUpdatesAtLaunch.read(*m_settings);
    m_toolchain->checkAtLaunch(enabled);
}

void Shell::refresh()
{
    m_store->refreshAsked();
    if (m_category == Category::Disk)
        m_disk.read();
}

void Shell::selectRuntime(int row)
{
    if (m_runtimes.isAll(row)) {
        m_store->setShowAll(true);
        return;
    }
    const auto runtime = m_runtimes.runtimeAt(row);
    if (!runtime)
        return;
    m_store->setShowAll(false);
    if (runtime != m_store->runtime())
        m_store->select(*runtime);
    else
        m_store->refreshAsked();
}

void Shell::addProject(const QUrl &directory)
{
    if (!directory.isLocalFile())
        return;
    [](QPointer<AppStore> store, QString dir) -> QCoro::Task<> {
        auto added = store->addProject(dir);
        const std::optional<QString> message = co_await added;
        if (store && message)
            store->reportError(*message);
    }(m_store, directory.toLocalFile());
}

void Shell::clearFilter() { m_store->setFilter(QString()); }

void Shell::showVolume(const QString &name)
{
    setCategory(int(Category::Volumes));
    m_store->setFilter(name);
}
