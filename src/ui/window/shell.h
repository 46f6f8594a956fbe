#pragma once

#include "category.h"
#include "listorder.h"
#include "containermodel.h"
#include "imagemodel.h"
#include "projectmodel.h"
#include "runtimemodel.h"
#include "volumemodel.h"
#include "networkmodel.h"
#include "diskpanel.h"
#include "workmodel.h"

#include <QDateTime>
#include <QLocale>
#include <QObject>
#include <QTimer>
#include <QUrl>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

class AppStore;
class QSettings;
class ToolchainStore;

// What the main window needs beyond the two stores: the store's lists as keyed models,
// the selected section (kept under "category"), the sidebar's texts, and the store calls
// QML cannot make itself.
class Shell : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application makes the shell")
    Q_PROPERTY(ProjectModel *projects READ projects CONSTANT)
    Q_PROPERTY(ContainerModel *containers READ containers CONSTANT)
    Q_PROPERTY(ImageModel *images READ images CONSTANT)
    Q_PROPERTY(VolumeModel *volumes READ volumes CONSTANT)
    Q_PROPERTY(NetworkModel *networks READ networks CONSTANT)
    Q_PROPERTY(RuntimeModel *runtimes READ runtimes CONSTANT)
    Q_PROPERTY(DiskPanel *disk READ disk CONSTANT)
    // Long work under way: the pulls for the images view, the backups and restores for the
    // volumes view, all of it for the tray panel's line. Compose up shows on its card.
    Q_PROPERTY(WorkModel *pulls READ pulls CONSTANT)
    Q_PROPERTY(WorkModel *transfers READ transfers CONSTANT)
    Q_PROPERTY(WorkModel *work READ work CONSTANT)
    Q_PROPERTY(QVariantList categories READ categories CONSTANT)
    Q_PROPERTY(int category READ category WRITE setCategory NOTIFY categoryChanged)
    Q_PROPERTY(QString categoryLabel READ categoryLabel NOTIFY categoryChanged)
    Q_PROPERTY(QString categoryIcon READ categoryIcon NOTIFY categoryChanged)
    Q_PROPERTY(QString sectionView READ sectionView NOTIFY categoryChanged)
    Q_PROPERTY(QString searchHint READ searchHint NOTIFY categoryChanged)
    Q_PROPERTY(bool sectionOwnsEmptyState READ sectionOwnsEmptyState NOTIFY categoryChanged)
    Q_PROPERTY(int categoryCount READ categoryCount NOTIFY sectionCountChanged)
    Q_PROPERTY(int sectionCount READ sectionCount NOTIFY sectionCountChanged)
    // The row count of each section, in sidebar order.
    Q_PROPERTY(QList<int> counts READ counts NOTIFY sectionCountChanged)
    // The sidebar rows as a screen reader says them: "Containers, 12".
    Q_PROPERTY(QStringList spokenCounts READ spokenCounts NOTIFY sectionCountChanged)
    Q_PROPERTY(QString runningText READ runningText NOTIFY countersChanged)
    Q_PROPERTY(QString stoppedText READ stoppedText NOTIFY countersChanged)
    Q_PROPERTY(bool filtering READ filtering NOTIFY filteringChanged)
    Q_PROPERTY(QString emptyIcon READ emptyIcon NOTIFY emptyChanged)
    Q_PROPERTY(QString emptyDetail READ emptyDetail NOTIFY emptyChanged)
    // Empty while the engine answers in time; otherwise how long it has kept us waiting.
    Q_PROPERTY(QString staleText READ staleText NOTIFY staleTextChanged)
    // The orders the selected section offers (none for projects), and the one it is in.
    Q_PROPERTY(QStringList sortChoices READ sortChoices NOTIFY sortChanged)
    Q_PROPERTY(int sortIndex READ sortIndex WRITE setSortIndex NOTIFY sortChanged)
    // The registries are being asked whether the images run here moved on.
    Q_PROPERTY(bool checkingNewer READ checkingNewer NOTIFY checkingNewerChanged)
    // "3 newer images": the images the shown containers run whose tags moved on; empty for none.
    Q_PROPERTY(QString newerLine READ newerLine NOTIFY newerLineChanged)

public:

    Shell(AppStore *store, ToolchainStore *toolchain, QSettings *settings, QObject *parent = nullptr);

    ProjectModel *projects() { return &m_projects; }
    ContainerModel *containers() { return &m_containers; }
    ImageModel *images() { return &m_images; }
    VolumeModel *volumes() { return &m_volumes; }
    NetworkModel *networks() { return &m_networks; }
    RuntimeModel *runtimes() { return &m_runtimes; }
    DiskPanel *disk() { return &m_disk; }
    WorkModel *pulls() { return m_pulls; }
    WorkModel *transfers() { return m_transfers; }
    WorkModel *work() { return m_work; }

    QVariantList categories() const;
    int category() const { return int(m_category); }
    void setCategory(int category);
    QString categoryLabel() const { return Categories::label(m_category); }
    QString categoryIcon() const { return Categories::icon(m_category); }
    QString sectionView() const { return Categories::view(m_category); }
    QString searchHint() const { return Categories::searchHint(m_category); }
    bool sectionOwnsEmptyState() const { return Categories::ownsEmptyState(m_category); }
    int categoryCount() const { return countOf(int(m_category)); }
    // Rows of the selected section.
    int sectionCount() const;
    Q_INVOKABLE int countOf(int category) const;
    QList<int> counts() const;
    QStringList spokenCounts() const;

    QString runningText() const;
    QString stoppedText() const;
    bool filtering() const;
    QString emptyIcon() const;
    QString emptyDetail() const;
    QString staleText() const { return m_staleText; }
    bool checkingNewer() const;
    QString newerLine() const { return m_newerLine; }
    QStringList sortChoices() const;
    int sortIndex() const;
    // Kept per section, so each list opens as it was left.
    void setSortIndex(int index);
    // "Engine has not answered for 12 s — showing what it listed at 14:05".
    // engine: the engine's name, where rows of several are shown.
    static QString staleLine(qint64 waitedSeconds, const QDateTime &listedAt, const QLocale &locale = QLocale(), const QString &engine = {});

    // The main window's first appearance: polling starts, and the launch check runs if due.
    Q_INVOKABLE void firstShown();
    Q_INVOKABLE void refresh();
    // "Check for newer images": every tag at once, whatever the schedule.
    Q_INVOKABLE void checkNewer();
    Q_INVOKABLE void selectRuntime(int row);
    Q_INVOKABLE void addProject(const QUrl &directory);
    Q_INVOKABLE void clearFilter();
    // The volumes section, searched for the volume's name.
    Q_INVOKABLE void showVolume(const QString &name);
    // Raises the settings window, from wherever Korvat is asked for it.
    void openSettings() { emit settingsRequested(); }

signals:
    void settingsRequested();
    void categoryChanged();
    void sectionCountChanged();
    void countersChanged();
    void filteringChanged();
    void emptyChanged();
    void staleTextChanged();
    void sortChanged();
    void checkingNewerChanged();
    void newerLineChanged();

private:
    void updateContainers();
    void updateImages();
    void updateVolumes();
    void updateNetworks();
    ListOrder::Key sortOf(Category c) const { return m_sort.value(c, ListOrder::Key::Listed); }
    void updateProjects();
    void updateStale();
    void updateNewer();

    AppStore *m_store;
    ToolchainStore *m_toolchain;
    QSettings *m_settings;
    Category m_category = Category::Projects;
    ProjectModel m_projects;
    ContainerModel m_containers;
    ImageModel m_images;
    VolumeModel m_volumes;
    NetworkModel m_networks;
    RuntimeModel m_runtimes;
    DiskPanel m_disk;
    WorkModel *m_pulls;
    WorkModel *m_transfers;
    WorkModel *m_ups;
    WorkModel *m_work;
    QString m_staleText;
    QString m_newerLine;
    QMap<Category, ListOrder::Key> m_sort;
    // Ticks only while the engine keeps us waiting, to count the seconds.
    QTimer m_staleTick;
};
