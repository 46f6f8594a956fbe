#include "newertext.h"

#include "worktext.h"

namespace NewerText {

Note notification(const QList<NewerNotice> &found)
{
    QStringList references;
    for (const NewerNotice &n : found) {
        if (!references.contains(n.image.reference))
            references.append(n.image.reference);
    }
    if (references.size() > 1)
        return {QStringLiteral("%1 newer images").arg(references.size()),
                WorkText::listed(references) + QStringLiteral(". Pull them when you choose.")};
    // One image, run on one engine or on several: a sentence for each.
    QStringList sentences;
    for (const NewerNotice &n : found) {
        const QString where = n.engine.isEmpty() ? QString() : QStringLiteral(" on ") + n.engine;
        sentences << WorkText::listed(n.containers) + (n.containers.size() == 1 ? QStringLiteral(" runs it") : QStringLiteral(" run it"))
                + where + u'.';
    }
    sentences << QStringLiteral("Pull it when you choose.");
    return {QStringLiteral("Newer image for ") + references.value(0), sentences.join(u' ')};
}

QString servicesLine(int services)
{
    if (services <= 0)
        return {};
    return services == 1 ? QStringLiteral("1 service has a newer image") : QStringLiteral("%1 services have newer images").arg(services);
}

QString imagesLine(int images)
{
    if (images <= 0)
        return {};
    return images == 1 ? QStringLiteral("1 newer image") : QStringLiteral("%1 newer images").arg(images);
}

QString pullMessage(const QString &reference, const QString &container, const QString &engine)
{
    const QString where = engine.isEmpty() ? QString() : QStringLiteral(" on ") + engine;
    return QStringLiteral("Pulls %1%2. %3 keeps running the old image until it is made again.").arg(reference, where, container);
}

}
