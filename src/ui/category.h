#pragma once

#include <QList>
#include <QString>
#include <optional>

// The sidebar sections, in sidebar order, with their labels, icons and stored names.
enum class Category { Projects, Containers, Images, Volumes };

namespace Categories {
inline const QList<Category> all = {Category::Projects, Category::Containers, Category::Images, Category::Volumes};
QString label(Category c);
QString icon(Category c);
// The raw text kept under "category".
QString raw(Category c);
std::optional<Category> fromRaw(const QString &raw);
}
