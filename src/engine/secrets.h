#pragma once

#include <QString>
#include <QStringList>
#include <optional>

// Which values stay hidden until a reader asks for them, wherever they came from: one table of
// the words that make a name secret, and the rules that find a secret inside a value. Every
// value the engine or compose hands back passes one of these before it is shown, copied,
// saved, searched or read aloud; "Show values" shows the value as it came instead.
namespace Secrets {

// What a hidden value shows, and what a screen reader hears for it.
inline constexpr char16_t mask[] = u"••••••••";
inline constexpr char16_t spoken[] = u"hidden value";

// Whether a value under this name is a secret: a variable, a label's key, a driver option, a
// flag without its dashes, a key of a document. "API_KEY", "dbPassword", "MYSQL_PWD",
// "SENTRY_DSN", "requirepass"; not "KEYBOARD", "PWD", "PASSWORD_FILE", "AWS_ACCESS_KEY_ID".
bool secretName(QStringView name);

// A value under a name as shown while hidden: all of it under a secret name, else only what
// inside it is secret (a URL's password, "password=…" among options, a secret flag's word).
QString value(QStringView name, const QString &value);

// A command's words as shown while hidden, its program first: the word after a secret flag
// ("--requirepass x", "--token=x"), the password of a program known to take one by a short
// flag ("mysql -px", "redis-cli -a x"), NAME=value words, URLs, and a word that is itself a
// command line ("sh -c '…'"). known: values already known to be secret, hidden where a word
// or a NAME=value word's value is exactly one of them.
QStringList arguments(const QStringList &words, const QStringList &known = {});

// A shell line, a build step or any other free text, split into words as a shell would and
// read as arguments; everything between the words is kept as it was.
QString text(const QString &text, const QStringList &known = {});

// An inspect document, its strings read by these rules (a map's values by their keys,
// "Env" as variables, "Cmd", "Entrypoint", "Args" and a health check's "Test" as commands);
// still valid JSON, line for line as the engine's document was indented.
QString document(const QString &json);

// Resolved compose YAML as shown while hidden: a scalar under a secret key, one equal to a
// known secret (a variable substituted whole), and a command's secret words. A masked scalar
// becomes a quoted placeholder and one that spans lines is masked whole, so the text keeps
// its lines and stays YAML. With sites, a known secret is masked only under those keys (or
// in those keys' lists): a password "postgres" leaves "POSTGRES_DB: postgres" shown.
QString yaml(const QString &text, const QStringList &known, const std::optional<QStringList> &sites = std::nullopt);
// The keys under which the files as written use any of these variables ("${DB_PASS}",
// "$DB_PASS"): a key of a mapping, a NAME of a list's NAME=value, or the key of a list.
QStringList substitutedAt(const QString &written, const QStringList &variables);

}
