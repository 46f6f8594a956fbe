#include "secrets.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <algorithm>

namespace Secrets {

namespace {

// ---- the table ------------------------------------------------------------------------------

// A name is secret when one of its words is one of these. Words, not letters: "KEY" in API_KEY
// and apiKey, never in KEYBOARD or MONKEY. requirepass, masterauth, storepass and keypass are
// the flags of programs that run in containers often enough to be named here.
const QLatin1String secretWords[] = {
    QLatin1String("PASSWORD"), QLatin1String("PASSWORDS"), QLatin1String("PASSWD"), QLatin1String("PASS"), QLatin1String("PWD"),
    QLatin1String("PASSPHRASE"), QLatin1String("SECRET"), QLatin1String("SECRETS"), QLatin1String("TOKEN"), QLatin1String("TOKENS"),
    QLatin1String("KEY"), QLatin1String("KEYS"), QLatin1String("APIKEY"), QLatin1String("DSN"), QLatin1String("PRIVATE"),
    QLatin1String("CREDENTIAL"), QLatin1String("CREDENTIALS"), QLatin1String("CREDS"), QLatin1String("AUTH"), QLatin1String("AUTHORIZATION"),
    QLatin1String("SALT"), QLatin1String("COOKIE"), QLatin1String("REQUIREPASS"), QLatin1String("MASTERAUTH"), QLatin1String("STOREPASS"),
    QLatin1String("KEYPASS"),
};
// These say secret even inside a longer word: "DBPASSWORD", "htpasswd".
const QLatin1String secretInside[] = {QLatin1String("PASSWORD"), QLatin1String("PASSWD"), QLatin1String("PASSPHRASE"), QLatin1String("CREDENTIAL")};
// After the secret word, one of these makes the value something about the secret, not the
// secret: POSTGRES_PASSWORD_FILE is a path, AWS_ACCESS_KEY_ID a name, AUTH_TYPE a choice.
const QLatin1String aboutWords[] = {
    QLatin1String("FILE"), QLatin1String("PATH"), QLatin1String("DIR"), QLatin1String("ID"), QLatin1String("NAME"), QLatin1String("URL"),
    QLatin1String("URI"), QLatin1String("ENDPOINT"), QLatin1String("HOST"), QLatin1String("PORT"), QLatin1String("TYPE"),
    QLatin1String("METHOD"), QLatin1String("MODE"), QLatin1String("ENABLED"), QLatin1String("DISABLED"), QLatin1String("REQUIRED"),
    QLatin1String("LENGTH"), QLatin1String("SIZE"), QLatin1String("TTL"), QLatin1String("TIMEOUT"), QLatin1String("EXPIRY"),
    QLatin1String("PREFIX"), QLatin1String("FINGERPRINT"), QLatin1String("ALGORITHM"), QLatin1String("VERSION"), QLatin1String("STDIN"),
    QLatin1String("USER"), QLatin1String("USERNAME"),
};
// Whole names that hold no secret whatever their words: the shell's working directories, the
// engine's network namespace path, and the signing key's fingerprint language images publish.
const QLatin1String harmlessNames[] = {QLatin1String("PWD"), QLatin1String("OLDPWD"), QLatin1String("SandboxKey"), QLatin1String("GPG_KEY")};

// Programs that take a password by a short flag. Elsewhere "-p" is a port or a path.
struct ProgramFlag {
    QLatin1String program;
    QLatin1String flag;
};
const ProgramFlag passwordFlags[] = {
    {QLatin1String("mysql"), QLatin1String("-p")},         {QLatin1String("mysqladmin"), QLatin1String("-p")},
    {QLatin1String("mysqldump"), QLatin1String("-p")},     {QLatin1String("mysqlcheck"), QLatin1String("-p")},
    {QLatin1String("mysqlshow"), QLatin1String("-p")},     {QLatin1String("mysqlimport"), QLatin1String("-p")},
    {QLatin1String("mariadb"), QLatin1String("-p")},       {QLatin1String("mariadb-admin"), QLatin1String("-p")},
    {QLatin1String("mariadb-dump"), QLatin1String("-p")},  {QLatin1String("mariadb-check"), QLatin1String("-p")},
    {QLatin1String("mongo"), QLatin1String("-p")},         {QLatin1String("mongosh"), QLatin1String("-p")},
    {QLatin1String("mongodump"), QLatin1String("-p")},     {QLatin1String("mongorestore"), QLatin1String("-p")},
    {QLatin1String("mongoexport"), QLatin1String("-p")},   {QLatin1String("mongoimport"), QLatin1String("-p")},
    {QLatin1String("redis-cli"), QLatin1String("-a")},     {QLatin1String("valkey-cli"), QLatin1String("-a")},
    {QLatin1String("keydb-cli"), QLatin1String("-a")},     {QLatin1String("sqlcmd"), QLatin1String("-P")},
    {QLatin1String("sshpass"), QLatin1String("-p")},
};
// Flags whose word is "user:password": only the password is hidden.
const ProgramFlag userFlags[] = {{QLatin1String("curl"), QLatin1String("-u")}, {QLatin1String("curl"), QLatin1String("--user")},
                                 {QLatin1String("curl"), QLatin1String("-U")}, {QLatin1String("curl"), QLatin1String("--proxy-user")}};
// Words in front of the program that do not name it: "exec mysql", a build step's "RUN", a
// health check's form ("CMD-SHELL" then its line, "CMD" then its words), and the classic
// builder's count of build arguments ("|2 A=1 B=2 /bin/sh -c …").
const QLatin1String wrappers[] = {QLatin1String("exec"), QLatin1String("env"),     QLatin1String("sudo"), QLatin1String("nohup"),
                                  QLatin1String("nice"), QLatin1String("time"),    QLatin1String("command"), QLatin1String("RUN"),
                                  QLatin1String("CMD"),  QLatin1String("CMD-SHELL")};
const QLatin1String shells[] = {QLatin1String("sh"), QLatin1String("bash"), QLatin1String("ash"), QLatin1String("dash"), QLatin1String("zsh")};

template<typename List>
bool among(const List &list, QStringView word, Qt::CaseSensitivity cs = Qt::CaseSensitive)
{
    return std::any_of(std::begin(list), std::end(list), [&](QLatin1String w) { return word.compare(w, cs) == 0; });
}

template<std::size_t N>
bool programFlag(const ProgramFlag (&table)[N], QStringView program, QStringView flag)
{
    return std::any_of(std::begin(table), std::end(table), [&](const ProgramFlag &f) { return program == f.program && flag == f.flag; });
}

// ---- names ----------------------------------------------------------------------------------

// "MYSQL_ROOT_PASSWORD" → MYSQL ROOT PASSWORD, "dbPassword" → DB PASSWORD, "APIKey" → API KEY,
// "--tls-key" → TLS KEY.
QStringList words(QStringView name)
{
    QStringList out;
    QString current;
    for (qsizetype i = 0; i < name.size(); ++i) {
        const QChar c = name[i];
        if (!c.isLetterOrNumber()) {
            if (!current.isEmpty())
                out << current.toUpper(), current.clear();
            continue;
        }
        const bool camel = i > 0 && c.isUpper()
            && (name[i - 1].isLower() || (name[i - 1].isUpper() && i + 1 < name.size() && name[i + 1].isLower()));
        if (camel && !current.isEmpty())
            out << current.toUpper(), current.clear();
        current += c;
    }
    if (!current.isEmpty())
        out << current.toUpper();
    return out;
}

// ---- inside a value -------------------------------------------------------------------------

const QString &maskText()
{
    static const QString text = QString::fromUtf16(mask);
    return text;
}

// Worth hiding: something, and not only a reference to a variable ("$DB_PASSWORD"), which
// hides nothing and says where the secret comes from.
bool hides(const QString &value)
{
    static const QRegularExpression reference(QStringLiteral(R"(^\$\{?[A-Za-z_][A-Za-z0-9_]*\}?$)"));
    return !value.trimmed().isEmpty() && !reference.match(value).hasMatch();
}

QString unquoted(const QString &word)
{
    if (word.size() >= 2 && (word.front() == u'"' || word.front() == u'\'') && word.back() == word.front())
        return word.mid(1, word.size() - 2);
    return word;
}

struct Span {
    qsizetype start = 0;
    qsizetype length = 0;
};

// Replaces the spans, given in any order, with the mask; overlapping spans hide their union.
QString masked(QString text, QList<Span> spans)
{
    std::sort(spans.begin(), spans.end(), [](const Span &a, const Span &b) { return a.start > b.start; });
    qsizetype limit = text.size();
    for (const Span &s : spans) {
        const qsizetype end = std::min(s.start + s.length, limit);
        if (end <= s.start)
            continue;
        text.replace(s.start, end - s.start, maskText());
        limit = s.start;
    }
    return text;
}

// Words as a shell splits them, quotes kept, and each line break a word of its own: every
// line a command.
QList<Span> split(const QString &text)
{
    QList<Span> spans;
    const qsizetype n = text.size();
    for (qsizetype i = 0; i < n;) {
        if (text[i] == u'\n') {
            spans.append({i, 1});
            ++i;
            continue;
        }
        if (text[i].isSpace()) {
            ++i;
            continue;
        }
        const qsizetype start = i;
        while (i < n && !text[i].isSpace()) {
            const QChar c = text[i];
            if (c == u'"' || c == u'\'') {
                // A quote left open ends with its line, as every word does.
                for (++i; i < n && text[i] != c && text[i] != u'\n'; ++i) {
                    if (c == u'"' && text[i] == u'\\' && i + 1 < n && text[i + 1] != u'\n')
                        ++i;
                }
                if (i < n && text[i] == c)
                    ++i;
            } else {
                i += c == u'\\' && i + 1 < n && text[i + 1] != u'\n' ? 2 : 1;
            }
        }
        i = std::min(i, n);
        spans.append({start, i - start});
    }
    return spans;
}

// A URL's password under any name ("postgres://app:s3cret@db/app", "redis://:s3cret@cache"),
// and a secret among "name=value" pairs after a separator ("addr=…,password=…", "?token=…").
// A password may hold a slash its URL should have escaped; a path with an "@" after a port
// is then hidden too, which is the side to err on.
QString inside(const QString &text, const QStringList &known)
{
    static const QRegularExpression url(QStringLiteral(R"([A-Za-z][A-Za-z0-9+.-]*://[^\s:/?#@"']*:([^\s@"']+)@)"));
    static const QRegularExpression pair(QStringLiteral(R"([,;&?]([A-Za-z_][A-Za-z0-9_.-]*)=([^,;&\s"']*))"));
    QList<Span> spans;
    for (auto it = url.globalMatch(text); it.hasNext();) {
        const auto m = it.next();
        if (hides(m.captured(1)))
            spans.append({m.capturedStart(1), m.capturedLength(1)});
    }
    for (auto it = pair.globalMatch(text); it.hasNext();) {
        const auto m = it.next();
        if ((secretName(m.capturedView(1)) || known.contains(m.captured(2))) && hides(m.captured(2)))
            spans.append({m.capturedStart(2), m.capturedLength(2)});
    }
    return masked(text, spans);
}

QString word(const QString &w, const QStringList &known)
{
    static const QRegularExpression assignment(QStringLiteral(R"(^([A-Za-z_][A-Za-z0-9_.-]*)=(.*)$)"), QRegularExpression::DotMatchesEverythingOption);
    static const QRegularExpression space(QStringLiteral(R"(\s)"));
    const QString bare = unquoted(w);
    if (!known.isEmpty() && known.contains(bare) && hides(bare))
        return maskText();
    if (const auto m = assignment.match(w); m.hasMatch()) {
        const QString rest = m.captured(2);
        const QString value = unquoted(rest);
        if ((secretName(m.capturedView(1)) || known.contains(value)) && hides(value))
            return m.captured(1) + u'=' + maskText();
        return m.captured(1) + u'=' + word(rest, known);
    }
    // A command line passed as one word: "sh -c 'redis-cli -a x ping'". A quote left open
    // keeps the rest of the line one word, read as it is.
    if (bare.contains(space) && (bare.size() < w.size() || split(bare).size() > 1)) {
        const QString inner = text(bare, known);
        return bare.size() == w.size() ? inner : w.front() + inner + w.back();
    }
    return inside(w, known);
}

bool separator(QStringView w)
{
    return w == u";" || w == u"&&" || w == u"||" || w == u"|" || w == u"&" || w == u"\n";
}

// "user:s3cret" → "user:••••••••"; a word without a colon is all password.
QString userPassword(const QString &w)
{
    const qsizetype colon = w.indexOf(u':');
    return colon < 0 ? maskText() : w.left(colon + 1) + (hides(w.mid(colon + 1)) ? maskText() : w.mid(colon + 1));
}

// ---- a document -----------------------------------------------------------------------------

QStringList strings(const QJsonArray &array)
{
    QStringList out;
    for (const QJsonValue &v : array)
        out << v.toString();
    return out;
}

// The array with its strings as shown; anything but a string kept as the engine wrote it.
QJsonArray shownIn(QJsonArray array, const QStringList &shown)
{
    for (qsizetype i = 0; i < array.size() && i < shown.size(); ++i) {
        if (array.at(i).isString())
            array[i] = shown[i];
    }
    return array;
}

QJsonValue walk(const QJsonValue &value);

QJsonObject walk(QJsonObject object)
{
    // A command's program is its entrypoint's first word where it has one, and "Path" for the
    // "Args" the engine ran it with.
    const QStringList entrypoint = strings(object.value(QLatin1String("Entrypoint")).toArray());
    const QStringList command = strings(object.value(QLatin1String("Cmd")).toArray());
    const QStringList ran = arguments(entrypoint + command);
    for (auto it = object.begin(); it != object.end(); ++it) {
        const QString key = it.key();
        const QJsonValue v = it.value();
        if (v.isString()) {
            const QString s = v.toString();
            *it = secretName(key) ? (hides(s) ? maskText() : s) : text(s);
        } else if (v.isArray() && key == QLatin1String("Env")) {
            QStringList env;
            for (const QString &variable : strings(v.toArray())) {
                const qsizetype equals = variable.indexOf(u'=');
                env << (equals < 0 ? variable : variable.left(equals + 1) + Secrets::value(QStringView(variable).left(equals), variable.mid(equals + 1)));
            }
            *it = shownIn(v.toArray(), env);
        } else if (v.isArray() && key == QLatin1String("Entrypoint")) {
            *it = shownIn(v.toArray(), ran.mid(0, entrypoint.size()));
        } else if (v.isArray() && key == QLatin1String("Cmd")) {
            *it = shownIn(v.toArray(), ran.mid(entrypoint.size()));
        } else if (v.isArray() && key == QLatin1String("Args")) {
            *it = shownIn(v.toArray(), arguments(QStringList{object.value(QLatin1String("Path")).toString()} + strings(v.toArray())).mid(1));
        } else if (v.isArray() && key == QLatin1String("Test")) {
            *it = shownIn(v.toArray(), arguments(strings(v.toArray())));
        } else {
            *it = walk(v);
        }
    }
    return object;
}

QJsonValue walk(const QJsonValue &value)
{
    if (value.isObject())
        return walk(value.toObject());
    if (value.isString())
        return text(value.toString());
    if (value.isArray()) {
        QJsonArray out;
        for (const QJsonValue &v : value.toArray())
            out.append(walk(v));
        return out;
    }
    return value;
}

}

bool secretName(QStringView name)
{
    if (among(harmlessNames, name, Qt::CaseInsensitive))
        return false;
    const QStringList parts = words(name);
    for (qsizetype i = parts.size() - 1; i >= 0; --i) {
        const QString &part = parts[i];
        const bool secret = among(secretWords, part) || std::any_of(std::begin(secretInside), std::end(secretInside), [&](QLatin1String w) { return part.contains(w); });
        if (secret)
            return std::none_of(parts.cbegin() + i + 1, parts.cend(), [](const QString &p) { return among(aboutWords, p); });
    }
    return false;
}

QString value(QStringView name, const QString &value)
{
    if (secretName(name))
        return hides(value) ? maskText() : value;
    return text(value);
}

QStringList arguments(const QStringList &words, const QStringList &known)
{
    static const QRegularExpression assignment(QStringLiteral(R"(^[A-Za-z_][A-Za-z0-9_.-]*=)"));
    static const QRegularExpression buildArguments(QStringLiteral(R"(^\|\d+$)"));
    static const QRegularExpression space(QStringLiteral(R"(\s)"));
    QStringList out = words;
    QString program;
    bool commandNext = true;
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QString &w = words[i];
        const QString bare = unquoted(w);
        if (separator(w)) {
            commandNext = true;
            continue;
        }
        // Flags first: the program was named elsewhere (an entrypoint, "Path").
        if (commandNext && w.startsWith(u'-'))
            commandNext = false;
        if (commandNext) {
            if (assignment.match(w).hasMatch()) {
                out[i] = word(w, known);
                continue;
            }
            if (among(wrappers, bare) || buildArguments.match(bare).hasMatch())
                continue;
            if (bare.contains(space)) {
                out[i] = word(w, known);
                continue;
            }
            program = bare.section(u'/', -1);
            commandNext = false;
            out[i] = word(w, known);
            continue;
        }
        if (w.endsWith(u';'))
            commandNext = true;
        if (w.size() < 2 || !w.startsWith(u'-') || w == QLatin1String("--")) {
            out[i] = word(w, known);
            continue;
        }
        // What follows a shell's -c is a command of its own, quoted or not.
        if (w == QLatin1String("-c") && among(shells, program)) {
            commandNext = true;
            continue;
        }
        const qsizetype equals = w.indexOf(u'=');
        const QString flag = equals < 0 ? w : w.left(equals);
        const bool secret = secretName(flag) || programFlag(passwordFlags, program, flag);
        if (equals >= 0) {
            const QString v = w.mid(equals + 1);
            out[i] = flag + u'=' + (secret && hides(unquoted(v)) ? maskText() : word(v, known));
            continue;
        }
        const bool followed = i + 1 < words.size() && !words[i + 1].startsWith(u'-') && !separator(words[i + 1]);
        if (programFlag(userFlags, program, flag) && followed) {
            out[i + 1] = userPassword(words[i + 1]);
            ++i;
        } else if (!flag.startsWith(QLatin1String("--")) && flag.size() > 2 && programFlag(passwordFlags, program, QStringView(flag).left(2))) {
            // "-ps3cret": the password joined to its flag.
            if (hides(flag.mid(2)))
                out[i] = flag.left(2) + maskText();
        } else if (secret && followed) {
            if (hides(unquoted(words[i + 1])))
                out[i + 1] = maskText();
            ++i;
        }
    }
    return out;
}

QString text(const QString &text, const QStringList &known)
{
    const QList<Span> spans = split(text);
    QStringList found;
    for (const Span &s : spans)
        found << text.mid(s.start, s.length);
    const QStringList shown = arguments(found, known);
    QString out = text;
    for (qsizetype k = spans.size() - 1; k >= 0; --k) {
        if (shown[k] != found[k])
            out.replace(spans[k].start, spans[k].length, shown[k]);
    }
    return out;
}

QString document(const QString &json)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(json.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError)
        return Secrets::text(json);
    const QJsonDocument shown = doc.isArray() ? QJsonDocument(walk(doc.array()).toArray()) : QJsonDocument(walk(doc.object()));
    // Unchanged, it is the engine's text as it came, so nothing reads as hidden that was not.
    return shown == doc ? json : QString::fromUtf8(shown.toJson(QJsonDocument::Indented));
}

}
