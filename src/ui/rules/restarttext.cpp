#include "restarttext.h"

namespace RestartText {

bool marked(const QString &state, const Comeback &comeback)
{
    return comeback.kind != Comeback::Kind::Yes && AfterRestart::runsNow(state);
}

QString markLabel(Comeback::Kind kind)
{
    return kind == Comeback::Kind::Perhaps ? QStringLiteral("May stop at restart") : QStringLiteral("Stops at restart");
}

QStringList staying(const QList<std::pair<QString, Comeback>> &byService)
{
    QStringList services;
    for (const auto &[service, comeback] : byService)
        if (!comeback.comesBack() && !services.contains(service))
            services.append(service);
    return services;
}

QString servicesLine(const QList<std::pair<QString, Comeback>> &byService)
{
    QStringList all;
    for (const auto &entry : byService)
        if (!all.contains(entry.first))
            all.append(entry.first);
    const qsizetype stay = staying(byService).size();
    if (stay == 0)
        return {};
    const qsizetype back = all.size() - stay;
    return QStringLiteral("%1 of %2 %3 after a restart")
        .arg(back)
        .arg(all.size())
        .arg(all.size() == 1 ? QStringLiteral("service comes back") : back == 1 ? QStringLiteral("services comes back") : QStringLiteral("services come back"));
}

QString composeLines(const QStringList &services)
{
    QString text = QStringLiteral("services:\n");
    for (const QString &service : services)
        text += QStringLiteral("  %1:\n    restart: unless-stopped\n").arg(service);
    return text.chopped(1);
}

Sheet composeSheet(const QStringList &services, const QString &file)
{
    const QString where = file.isEmpty() ? QStringLiteral("the project's compose file") : file;
    const QString named = services.size() < 2 ? services.value(0) : services.mid(0, services.size() - 1).join(QStringLiteral(", ")) + QStringLiteral(" and ") + services.last();
    return {QStringLiteral("Keep %1 running after restarts").arg(named),
            QStringLiteral("Korvat leaves your compose file as it is. Add the restart line under %1 in %2, then choose Up to apply it.")
                .arg(services.size() == 1 ? services.first() : QStringLiteral("each of these services"), where),
            composeLines(services)};
}

}
