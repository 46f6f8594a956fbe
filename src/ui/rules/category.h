#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>
#include <optional>

// The sidebar sections, in sidebar order, with their labels, icons and stored names.
namespace Sections {
Q_NAMESPACE
QML_ELEMENT
// Disk is reached from the sidebar's footer and the images and volumes views, not a row.
enum class Category { Projects, Containers, Images, Volumes, Networks, Disk };
Q_ENUM_NS(Category)
}
using Category = Sections::Category;

namespace Categories {
// The sidebar's rows.
inline const QList<Category> all = {Category::Projects, Category::Containers, Category::Images, Category::Volumes, Category::Networks};
// Every section a window can show.
inline const QList<Category> shown = all + QList<Category>{Category::Disk};
QString label(Category c);
QString icon(Category c);
// What a screen reader says for the section's sidebar row: "Containers, 12".
QString spoken(Category c, int count);
// What the search field says while empty: "Filter networks".
QString searchHint(Category c);
// The view that shows the section.
QString view(Category c);
// Images and volumes keep their bars (pull, prune) when empty and say so themselves.
bool ownsEmptyState(Category c);
// The raw text kept under "category".
QString raw(Category c);
std::optional<Category> fromRaw(const QString &raw);
}
