#pragma once

#include "engine.h"
#include "transcript.h"

#include <QCoroTask>
#include <QObject>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <memory>

// The "Show compose file" sheet's state: the project's file as compose resolves it, read
// once when the sheet opens, and the variables the files use with where each value came from.
class ComposeFileState : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Made for a project by Actions")
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString directory READ directory CONSTANT)
    Q_PROPERTY(bool loaded READ loaded NOTIFY changed)
    // Compose's words when it cannot load the files; the document then holds them too.
    Q_PROPERTY(QString problem READ problem NOTIFY changed)
    Q_PROPERTY(Transcript *document READ document CONSTANT)
    // Each {name, value, source, help, missing}.
    Q_PROPERTY(QVariantList variables READ variables NOTIFY changed)
    // "3 variables · 1 missing", or that the file uses none.
    Q_PROPERTY(QString variablesCaption READ variablesCaption NOTIFY changed)
    // Values that look secret stay masked, in the file (its copy and find too) and in the
    // variables, until shown: the sheet is as likely to be open on a shared screen as the
    // details of a container.
    Q_PROPERTY(bool hasSecrets READ hasSecrets NOTIFY changed)
    Q_PROPERTY(bool showSecrets READ showSecrets WRITE setShowSecrets NOTIFY changed)

public:
    ComposeFileState(std::shared_ptr<Engine> engine, QString project, ComposeTarget target, QObject *parent = nullptr);

    QString title() const { return m_title; }
    QString directory() const { return m_target.dir; }
    bool loaded() const { return m_file.has_value(); }
    QString problem() const { return m_file && !m_file->valid ? (m_showSecrets ? m_file->text : m_masked) : QString(); }
    Transcript *document() { return &m_document; }
    QVariantList variables() const;
    QString variablesCaption() const;
    bool hasSecrets() const;
    bool showSecrets() const { return m_showSecrets; }
    void setShowSecrets(bool show);

    Q_INVOKABLE void start();
    // "from the environment", "from .env", "default in the file", "missing"
    static QString sourceText(const ComposeVariable &variable);
    // Why a missing variable matters and where to set it; empty for one that has a value.
    static QString help(const ComposeVariable &variable);

signals:
    void changed();

private:
    QCoro::Task<> read();
    // What the secret-looking variables hold: masked where compose put one in whole.
    static QStringList secretVariables(const ResolvedFile &file);
    void fillDocument();

    std::shared_ptr<Engine> m_engine;
    QString m_title;
    // Read as the project was started: its recorded files, where they are all still there.
    ComposeTarget m_target;
    std::optional<ResolvedFile> m_file;
    // The file as shown while values are hidden.
    QString m_masked;
    QStringList m_secretVariables;
    Transcript m_document;
    bool m_started = false;
    bool m_showSecrets = false;
};
