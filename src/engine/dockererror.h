#pragma once

#include <QException>
#include <QString>

// The one error of every engine operation; its message is ready to show as it stands.
class DockerError : public QException {
public:
    explicit DockerError(QString message) : m_message(std::move(message)), m_utf8(m_message.toUtf8()) {}

    const QString &message() const { return m_message; }
    const char *what() const noexcept override { return m_utf8.constData(); }
    void raise() const override { throw *this; }
    DockerError *clone() const override { return new DockerError(*this); }

private:
    QString m_message;
    QByteArray m_utf8;
};
