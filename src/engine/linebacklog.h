#pragma once

#include <QByteArray>
#include <QByteArrayView>

// Output handed on in one piece: the bytes, and how many lines were passed over just before
// them. After a gap the bytes begin a line.
struct LineBatch {
    QByteArray bytes;
    qint64 passedOver = 0;
    friend bool operator==(const LineBatch &, const LineBatch &) = default;
};

// Output waiting for its reader, kept within a limit: when more comes than is taken, the
// oldest whole lines go and are counted, so what is handed on is the newest lines as written.
// A line longer than the limit that cannot be kept whole is passed over whole.
class LineBacklog {
public:
    explicit LineBacklog(qsizetype limit) : m_limit(limit) {}

    void add(QByteArrayView bytes);
    LineBatch take();
    bool isEmpty() const { return m_bytes.isEmpty() && m_passedOver == 0; }

private:
    qsizetype m_limit;
    QByteArray m_bytes;
    qint64 m_passedOver = 0;
    // The start of the line now arriving was passed over (and counted): the rest goes too.
    bool m_skipping = false;
};
