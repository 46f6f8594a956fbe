#pragma once

#include "logline.h"

#include <QAbstractListModel>
#include <QRegularExpression>
#include <array>

// The colours a transcript is drawn in, as 0xRRGGBB: the sixteen named terminal colours
// for the reading shown, the page they sit on, and the marks of find.
struct TranscriptPalette {
    std::array<quint32, 16> ansi{};
    quint32 page = 0xffffff;
    quint32 ink = 0x000000;
    quint32 match = 0xf3d37a;
    quint32 currentMatch = 0xff9f43;
    // Services are told apart by these, each keeping its own from one line to the next.
    QList<quint32> services;
    friend bool operator==(const TranscriptPalette &, const TranscriptPalette &) = default;
};

// What find looks for, read once from what the reader typed.
class Finder {
public:
    struct Match {
        qsizetype start = 0;
        qsizetype length = 0;
        friend bool operator==(const Match &, const Match &) = default;
    };

    Finder() = default;
    // Case-insensitive unless the text has a capital letter.
    Finder(const QString &text, bool regex);
    bool isEmpty() const { return m_text.isEmpty(); }
    // Why a regular expression cannot be used; empty when it can.
    const QString &problem() const { return m_problem; }
    QList<Match> matchesIn(const QString &line) const;

private:
    QString m_text;
    bool m_regex = false;
    Qt::CaseSensitivity m_case = Qt::CaseInsensitive;
    QRegularExpression m_expression;
    QString m_problem;
};

// The lines of a log or an exec transcript, bounded, with find and its marks, a filter to
// the matching lines or to one service, and each line drawn from its styles in the theme's
// colours. Rows are lines; they are appended and trimmed from the front, never reset while
// the text grows. Where lines came too fast to be shown, a note stands in their place.
class Transcript : public QAbstractListModel {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    Q_PROPERTY(int total READ total NOTIFY countChanged)
    // Why the text does not go back to the start, or nothing when it does.
    Q_PROPERTY(QString note READ note NOTIFY noteChanged)
    Q_PROPERTY(QString findText READ findText WRITE setFindText NOTIFY findChanged)
    Q_PROPERTY(bool regex READ regex WRITE setRegex NOTIFY findChanged)
    Q_PROPERTY(QString findStatus READ findStatus NOTIFY findChanged)
    Q_PROPERTY(bool findInvalid READ findInvalid NOTIFY findChanged)
    Q_PROPERTY(int currentRow READ currentRow NOTIFY findChanged)
    Q_PROPERTY(bool filtering READ filtering WRITE setFiltering NOTIFY filterChanged)
    Q_PROPERTY(QString service READ service WRITE setService NOTIFY filterChanged)
    Q_PROPERTY(QStringList services READ services NOTIFY servicesChanged)
    // "All services", then each service: the chooser's entries.
    Q_PROPERTY(QStringList serviceChoices READ serviceChoices NOTIFY servicesChanged)
    // The longest service name, so the names line up in a column.
    Q_PROPERTY(QString widestService READ widestService NOTIFY servicesChanged)
    Q_PROPERTY(QString shownText READ shownText NOTIFY countChanged)

public:
    // NoteRole: the row is Korvat's note of lines passed over, not output.
    enum Role { TextRole = Qt::UserRole + 1, StyledRole, TimeRole, ServiceRole, ServiceColorRole, NoteRole };
    Q_ENUM(Role)

    // Once the lines hold trimAt characters, the oldest go until keep remain: it trims in
    // large steps, not on every line.
    static constexpr qsizetype trimAt = 200001;
    static constexpr qsizetype keep = 150000;

    explicit Transcript(QObject *parent = nullptr);

    // passedOver: lines that came before these and were never read; a note marks the gap.
    void append(const QList<LogLine> &lines, qint64 passedOver = 0);
    Q_INVOKABLE void clear();
    void setPalette(const TranscriptPalette &palette);

    int count() const { return int(m_rows.size()); }
    int total() const { return int(m_lines.size()); }
    bool trimmed() const { return m_trimmed; }
    qint64 passedOver() const { return m_passedOver; }
    QString note() const;
    const QString &findText() const { return m_findText; }
    void setFindText(const QString &text);
    bool regex() const { return m_regex; }
    void setRegex(bool regex);
    // "2 of 14", "No matches", or why the expression cannot be used; empty with nothing to find.
    QString findStatus() const;
    bool findInvalid() const { return !m_finder.problem().isEmpty(); }
    // The row of the current match; -1 when there is none or it is filtered out.
    int currentRow() const;
    bool filtering() const { return m_filtering; }
    void setFiltering(bool filtering);
    const QString &service() const { return m_service; }
    void setService(const QString &service);
    QStringList services() const { return m_services; }
    QString widestService() const
    {
        const auto it = std::max_element(m_services.cbegin(), m_services.cend(), [](const QString &a, const QString &b) { return a.size() < b.size(); });
        return it == m_services.cend() ? QString() : *it;
    }
    QStringList serviceChoices() const { return QStringList{QStringLiteral("All services")} + m_services; }
    // An entry of serviceChoices: 0 shows every service.
    Q_INVOKABLE void chooseService(int choice) { setService(choice > 0 && choice <= m_services.size() ? m_services[choice - 1] : QString()); }
    // "Showing 14 of 3,208 lines" while lines are hidden; empty otherwise.
    QString shownText() const;

    Q_INVOKABLE void next();
    Q_INVOKABLE void previous();
    // "Jump to end (3 new lines)".
    Q_INVOKABLE static QString jumpText(int newLines);
    // Every line, without styles: what Copy and Save give.
    Q_INVOKABLE QString plainText() const;

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    // A line as rich text: its styles in the palette's colours, its matches marked, the
    // current one (an index into matches) marked more strongly.
    static QString styled(const Ansi::Line &line, const QList<Finder::Match> &matches, int current, const TranscriptPalette &palette);
    // A colour the program asked for, made legible on the page.
    static quint32 readable(const Ansi::Color &color, const TranscriptPalette &palette, bool dim);

signals:
    void countChanged();
    void noteChanged();
    void findChanged();
    void filterChanged();
    void servicesChanged();

private:
    struct Entry {
        LogLine line;
        QList<Finder::Match> matches;
        bool note = false;
    };
    struct Current {
        qint64 line = -1;
        int index = 0;
    };

    const Entry &entry(qint64 line) const { return m_lines[qsizetype(line - m_first)]; }
    bool inService(const Entry &e) const;
    bool shows(const Entry &e) const;
    // The matches counted anew for the service shown; the current one moves to the newest
    // shown when its line is hidden.
    void recount();
    void rebuildRows();
    void refind();
    void trim();
    void markCurrent(Current current);
    void touch(qint64 line);
    int rowOf(qint64 line) const;

    QList<Entry> m_lines;
    // The number of the first line kept; lines are numbered from the first ever appended.
    qint64 m_first = 0;
    qsizetype m_chars = 0;
    QList<qint64> m_rows;
    bool m_trimmed = false;
    qint64 m_passedOver = 0;
    TranscriptPalette m_palette;
    QString m_findText;
    bool m_regex = false;
    Finder m_finder;
    qsizetype m_matchCount = 0;
    Current m_current;
    bool m_filtering = false;
    QString m_service;
    QStringList m_services;
};
