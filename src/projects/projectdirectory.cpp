#include "projectdirectory.h"

#include "docker.h"

#include <QFileInfo>

namespace ProjectDirectory {

DirectoryFacts lookAt(const QString &dir)
{
    const bool exists = QFileInfo(dir).isDir();
    return {exists, exists && Docker::composeFile(dir).has_value()};
}

DirectoryMap lookAt(const QStringList &dirs)
{
    DirectoryMap found;
    for (const QString &dir : dirs)
        found.insert(dir, lookAt(dir));
    return found;
}

}
