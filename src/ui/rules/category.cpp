#include "category.h"

namespace Categories {

QString label(Category c)
{
    switch (c) {
    case Category::Projects: return QStringLiteral("Projects");
    case Category::Containers: return QStringLiteral("Containers");
    case Category::Images: return QStringLiteral("Images");
    case Category::Volumes: return QStringLiteral("Volumes");
    case Category::Networks: return QStringLiteral("Networks");
    case Category::Disk: return QStringLiteral("Disk");
    }
    return {};
}

QString icon(Category c)
{
    switch (c) {
    case Category::Projects: return QStringLiteral("square.stack.3d.up");
    case Category::Containers: return QStringLiteral("shippingbox");
    case Category::Images: return QStringLiteral("opticaldisc");
    case Category::Volumes: return QStringLiteral("externaldrive");
    case Category::Networks: return QStringLiteral("network");
    case Category::Disk: return QStringLiteral("chart.pie");
    }
    return {};
}

QString spoken(Category c, int count)
{
    return label(c) + QStringLiteral(", ") + QString::number(count);
}

QString searchHint(Category c)
{
    return c == Category::Disk ? QStringLiteral("Filter by name or use") : QStringLiteral("Filter ") + label(c).toLower();
}

QString view(Category c)
{
    switch (c) {
    case Category::Projects: return QStringLiteral("ProjectsView.qml");
    case Category::Containers: return QStringLiteral("ContainersView.qml");
    case Category::Images: return QStringLiteral("ImagesView.qml");
    case Category::Volumes: return QStringLiteral("VolumesView.qml");
    case Category::Networks: return QStringLiteral("NetworksView.qml");
    case Category::Disk: return QStringLiteral("DiskView.qml");
    }
    return {};
}

bool ownsEmptyState(Category c) { return c == Category::Images || c == Category::Volumes || c == Category::Disk; }

QString raw(Category c)
{
    return label(c).toLower();
}

std::optional<Category> fromRaw(const QString &text)
{
    for (Category c : shown) {
        if (raw(c) == text)
            return c;
    }
    return std::nullopt;
}

}
