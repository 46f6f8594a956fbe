#include "composefilestate.h"

#include "appstore.h"
#include "containerdetails.h"
#include "detailstext.h"

#include <QCoroFuture>
#include <QPointer>
#include <QtConcurrent>

ComposeFileState::ComposeFileState(std::shared_ptr<Engine> engine, QString project, QString dir, QObject *parent)
    : QObject(parent), m_engine(std::move(engine)), m_title(std::move(project)), m_dir(std::move(dir))
{
}

void ComposeFileState::start()
{
    if (!std::exchange(m_started, true))
        read();
}

QCoro::Task<> ComposeFileState::read()
{
    QPointer<ComposeFileState> self(this);
    auto future = QtConcurrent::run(AppStore::workers(), [engine = m_engine, dir = m_dir] { return engine->resolvedFile(dir); });
    const ResolvedFile file = co_await future;
    if (!self)
        co_return;
    m_file = file;
    fillDocument();
    emit changed();
}

QStringList ComposeFileState::secretValues() const
{
    QStringList values;
    for (const ComposeVariable &v : m_file->variables) {
        if (Docker::looksSecret(v.name) && !v.value.isEmpty())
            values << v.value;
    }
    return values;
}

void ComposeFileState::fillDocument()
{
    const QStringList secrets = m_showSecrets ? QStringList() : secretValues();
    QList<LogLine> lines;
    for (const QString &line : m_file->text.split(u'\n'))
        lines.append({Ansi::Line{m_showSecrets ? line : DetailsText::maskedYaml(line, secrets), {}}, {}, {}});
    // Compose ends its YAML with a line break; no empty last line is shown for it.
    if (!lines.isEmpty() && lines.constLast().body.text.isEmpty())
        lines.removeLast();
    m_document.clear();
    m_document.append(lines);
}

bool ComposeFileState::hasSecrets() const
{
    if (!m_file)
        return false;
    const QStringList secrets = secretValues();
    const QStringList lines = m_file->text.split(u'\n');
    return std::any_of(lines.cbegin(), lines.cend(), [&](const QString &l) { return DetailsText::maskedYaml(l, secrets) != l; });
}

void ComposeFileState::setShowSecrets(bool show)
{
    if (m_showSecrets == show || !m_file)
        return;
    m_showSecrets = show;
    fillDocument();
    emit changed();
}

QString ComposeFileState::sourceText(const ComposeVariable &variable)
{
    switch (variable.source) {
    case ComposeVariable::Source::Environment: return QStringLiteral("from the environment");
    case ComposeVariable::Source::DotEnv: return QStringLiteral("from .env");
    case ComposeVariable::Source::Default: return QStringLiteral("default in the file");
    case ComposeVariable::Source::Missing: return QStringLiteral("missing");
    }
    return {};
}

QString ComposeFileState::help(const ComposeVariable &variable)
{
    if (variable.source != ComposeVariable::Source::Missing)
        return {};
    if (variable.required)
        return QStringLiteral("compose refuses the file without it. Set it in the .env beside the compose file.");
    return QStringLiteral("It has no value; compose substitutes an empty string. Check the .env beside the compose file.");
}

QVariantList ComposeFileState::variables() const
{
    QVariantList rows;
    if (!m_file)
        return rows;
    for (const ComposeVariable &v : m_file->variables) {
        const bool masked = !m_showSecrets && Docker::looksSecret(v.name) && !v.value.isEmpty();
        rows.append(QVariantMap{{QStringLiteral("name"), v.name},
                                {QStringLiteral("value"), masked ? QString::fromUtf16(DetailsText::maskedValue) : v.value},
                                {QStringLiteral("spokenValue"), masked ? QString::fromUtf16(DetailsText::hiddenValue) : v.value},
                                {QStringLiteral("source"), sourceText(v)},
                                {QStringLiteral("help"), help(v)},
                                {QStringLiteral("missing"), v.source == ComposeVariable::Source::Missing}});
    }
    return rows;
}

QString ComposeFileState::variablesCaption() const
{
    if (!m_file)
        return {};
    const auto &all = m_file->variables;
    if (all.isEmpty())
        return QStringLiteral("The files use no variables");
    const auto missing = std::count_if(all.cbegin(), all.cend(), [](const ComposeVariable &v) { return v.source == ComposeVariable::Source::Missing; });
    QString caption = all.size() == 1 ? QStringLiteral("1 variable") : QStringLiteral("%1 variables").arg(all.size());
    if (missing > 0)
        caption += QStringLiteral(" · %1 missing").arg(missing);
    return caption;
}
