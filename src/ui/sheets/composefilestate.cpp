#include "composefilestate.h"

#include "appstore.h"
#include "secrets.h"

#include <QCoroFuture>
#include <QPointer>
#include <QtConcurrent>

ComposeFileState::ComposeFileState(std::shared_ptr<Engine> engine, QString project, ComposeTarget target, QObject *parent)
    : QObject(parent), m_engine(std::move(engine)), m_title(std::move(project)), m_target(std::move(target))
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
    auto future = QtConcurrent::run(AppStore::workers(), [engine = m_engine, target = m_target] {
        const ResolvedFile file = engine->resolvedFile(target);
        const QStringList secret = secretVariables(file);
        QStringList values;
        for (const ComposeVariable &v : file.variables) {
            if (secret.contains(v.name) && !v.value.isEmpty())
                values << v.value;
        }
        // Compose's refusal may quote the value it could not read.
        const QString masked = file.valid ? Secrets::yaml(file.text, values, Secrets::substitutedAt(file.written, secret)) : Secrets::text(file.text, values);
        return std::tuple(file, masked, secret);
    });
    const auto [file, masked, secret] = co_await future;
    if (!self)
        co_return;
    m_file = file;
    m_masked = masked;
    m_secretVariables = secret;
    fillDocument();
    emit changed();
}

QStringList ComposeFileState::secretVariables(const ResolvedFile &file)
{
    // A variable is secret by its own name, or by the name of any key the files give it to:
    // "PG" substituted into POSTGRES_PASSWORD is a password.
    QStringList secret;
    for (const ComposeVariable &v : file.variables) {
        const auto sites = Secrets::secretName(v.name) ? QStringList() : Secrets::substitutedAt(file.written, {v.name});
        if (Secrets::secretName(v.name) || std::any_of(sites.cbegin(), sites.cend(), [](const QString &s) { return Secrets::secretName(s); }))
            secret << v.name;
    }
    return secret;
}

void ComposeFileState::fillDocument()
{
    QList<LogLine> lines;
    for (const QString &line : (m_showSecrets ? m_file->text : m_masked).split(u'\n'))
        lines.append({Ansi::Line{line, {}}, {}, {}});
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
    const auto &all = m_file->variables;
    return m_masked != m_file->text
        || std::any_of(all.cbegin(), all.cend(), [this](const ComposeVariable &v) {
               return (m_secretVariables.contains(v.name) && !v.value.isEmpty()) || Secrets::value(v.name, v.value) != v.value;
           });
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
        const QString value = m_showSecrets                        ? v.value
                            : m_secretVariables.contains(v.name) && !v.value.isEmpty() ? QString::fromUtf16(Secrets::mask)
                                                                                       : Secrets::value(v.name, v.value);
        rows.append(QVariantMap{{QStringLiteral("name"), v.name},
                                {QStringLiteral("value"), value},
                                {QStringLiteral("spokenValue"), QString(value).replace(QString::fromUtf16(Secrets::mask), QString::fromUtf16(Secrets::spoken))},
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
