#include "cliengine.h"
#include "execconsole.h"
#include "fakeengine.h"
#include "logfollower.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

// The log follower and the exec console over a FakeEngine: what they make of the output.
class Logs : public QObject {
    Q_OBJECT
    std::shared_ptr<FakeEngine> m_engine = std::make_shared<FakeEngine>();
    const Container m_web{"abc123", "web-1", "nginx", "running", "Up", "", {}};

private slots:
    // Each line with its styled parts marked: "{fg1 b}red bold{}" (fg/bg: index or #rrggbb;
    // b d i u r: bold, dim, italic, underline, inverse).
    static QString described(const Ansi::Line &line)
    {
        const auto color = [](const Ansi::Color &c) {
            return c.kind == Ansi::Color::Kind::Rgb ? QString("#%1").arg(c.value, 6, 16, QChar('0')) : QString::number(c.value);
        };
        QString out;
        qsizetype at = 0;
        for (const Ansi::Span &span : line.spans) {
            out += line.text.mid(at, span.start - at);
            QStringList codes;
            if (span.style.foreground.kind != Ansi::Color::Kind::Default)
                codes << "fg" + color(span.style.foreground);
            if (span.style.background.kind != Ansi::Color::Kind::Default)
                codes << "bg" + color(span.style.background);
            for (const auto &[on, code] : {std::pair(span.style.bold, "b"), std::pair(span.style.dim, "d"), std::pair(span.style.italic, "i"),
                                           std::pair(span.style.underline, "u"), std::pair(span.style.inverse, "r")})
                if (on)
                    codes << code;
            out += "{" + codes.join(' ') + "}" + line.text.mid(span.start, span.length) + "{}";
            at = span.start + span.length;
        }
        return out + line.text.mid(at);
    }

    void escapeSequences_data()
    {
        QTest::addColumn<QStringList>("chunks");
        QTest::addColumn<QStringList>("lines");
        const QString e = "\x1b";
        QTest::newRow("sixteen colours and reset") << QStringList{e + "[32mgreen" + e + "[0m plain"} << QStringList{"{fg2}green{} plain"};
        QTest::newRow("bright, background, empty reset") << QStringList{e + "[91;44mx" + e + "[my"} << QStringList{"{fg9 bg4}x{}y"};
        QTest::newRow("256 colours") << QStringList{e + "[38;5;208mo"} << QStringList{"{fg208}o{}"};
        QTest::newRow("24-bit, semicolons") << QStringList{e + "[38;2;10;20;30mt" + e + "[39mu"} << QStringList{"{fg#0a141e}t{}u"};
        QTest::newRow("24-bit, colons and a colour space") << QStringList{e + "[48:2::10:20:30mt"} << QStringList{"{bg#0a141e}t{}"};
        QTest::newRow("weights, then each undone") << QStringList{e + "[1;2;3;4;7ma" + e + "[22;23;24;27mb"} << QStringList{"{b d i u r}a{}b"};
        QTest::newRow("style carries over a line break") << QStringList{e + "[31ma\nb"} << QStringList{"{fg1}a{}", "{fg1}b{}"};
        QTest::newRow("cursor movement and erasing dropped") << QStringList{"a" + e + "[2K" + e + "[1Gb" + e + "[?25l"} << QStringList{"ab"};
        QTest::newRow("title and link: only the link's text") << QStringList{e + "]0;title\x07" + e + "]8;;http://x" + e + "\\link" + e + "]8;;" + e + "\\"}
                                                               << QStringList{"link"};
        QTest::newRow("progress redrawn with carriage returns") << QStringList{"10%\r50%\r", "100%\nnext"} << QStringList{"100%", "next"};
        QTest::newRow("CRLF split across reads") << QStringList{"a\r", "\nb"} << QStringList{"a", "b"};
        QTest::newRow("a sequence split across reads") << QStringList{e, "[3", "1mred"} << QStringList{"{fg1}red{}"};
        QTest::newRow("charset selection") << QStringList{e + "(Bx"} << QStringList{"x"};
        QTest::newRow("backspace, bell, tab") << QStringList{"ab\bc\x07\td"} << QStringList{"ac\td"};
        QTest::newRow("unterminated title ends with its line") << QStringList{"before\n" + e + "]0;title\nafter\nlast\n"} << QStringList{"before", "", "after", "last"};
        QTest::newRow("unterminated DCS, then a carriage return") << QStringList{"a" + e + "Pq#0\r\nb"} << QStringList{"a", "b"};
        QTest::newRow("a sequence cut by a line break") << QStringList{"a" + e + "[31\nb" + e + "\nc" + e + "(\nd"} << QStringList{"a", "b", "c", "d"};
        QTest::newRow("ESC inside a title starts a sequence") << QStringList{e + "]0;t" + e + "[32mg"} << QStringList{"{fg2}g{}"};
        QTest::newRow("malformed: a control inside a sequence") << QStringList{"a" + e + "[3\x01" "b"} << QStringList{"ab"};
        QTest::newRow("out-of-range colour numbers clamp") << QStringList{e + "[38;5;999mx" + e + "[38;2mY"} << QStringList{"{fg255}x{}{fg#000000}Y{}"};
    }
    void escapeSequences()
    {
        QFETCH(QStringList, chunks);
        Ansi::Parser parser;
        QStringList lines;
        for (const QString &chunk : chunks) {
            for (const Ansi::Line &line : parser.feed(chunk))
                lines << described(line);
        }
        if (!parser.open().text.isEmpty())
            lines << described(parser.open());
        QTEST(lines, "lines");
    }

    void linePrefixes_data()
    {
        QTest::addColumn<QString>("raw");
        QTest::addColumn<bool>("prefixed");
        QTest::addColumn<bool>("timestamped");
        QTest::addColumn<QString>("service");
        QTest::addColumn<QString>("time");
        QTest::addColumn<QString>("text");
        QTest::newRow("compose prefix") << "web-1  | GET / 200" << true << false << "web-1" << "" << "GET / 200";
        QTest::newRow("one container's bar is its own") << "a | b" << false << false << "" << "" << "a | b";
        QTest::newRow("timestamp") << "2026-11-23T16:57:46.123456789Z started" << false << true << "" << "2026-11-23T16:57:46.123Z" << "started";
        QTest::newRow("both") << "db-1  | 2026-11-23T16:57:46Z ready" << true << true << "db-1" << "2026-11-23T16:57:46.000Z" << "ready";
        QTest::newRow("no timestamp where one was asked for") << "plain" << false << true << "" << "" << "plain";
    }
    void linePrefixes()
    {
        QFETCH(QString, raw);
        QFETCH(bool, prefixed);
        QFETCH(bool, timestamped);
        const LogLine line = LogLines::read(Ansi::parse(raw).first(), prefixed, timestamped);
        QTEST(line.service, "service");
        QTEST(line.time.isValid() ? line.time.toUTC().toString(Qt::ISODateWithMs) : QString(), "time");
        QTEST(line.body.text, "text");
        // Styles move with the text.
        const LogLine red = LogLines::read(Ansi::parse(u"web-1  | \x1b[31mred").first(), true, false);
        QCOMPARE(red.body.spans.first().start, 0);
        QCOMPARE(red.body.spans.first().length, 3);
    }

    static QList<LogLine> plain(const QStringList &texts, const QString &service = {})
    {
        QList<LogLine> lines;
        for (const QString &t : texts)
            lines.append({Ansi::Line{t, {}}, service, {}});
        return lines;
    }

    void findAndFilter_data()
    {
        QTest::addColumn<QString>("find");
        QTest::addColumn<bool>("regex");
        QTest::addColumn<QString>("status");
        QTest::addColumn<QString>("filtered");
        QTest::newRow("nothing to find") << "" << false << "" << "";
        QTest::newRow("lower case finds any case") << "error" << false << "2 of 2" << "Showing 2 of 5 lines";
        QTest::newRow("a capital makes it exact") << "Error" << false << "1 of 1" << "Showing 1 of 5 lines";
        QTest::newRow("several in one line") << "b" << false << "5 of 5" << "Showing 4 of 5 lines";
        QTest::newRow("regular expression") << "\\b5\\d\\d\\b" << true << "1 of 1" << "Showing 1 of 5 lines";
        QTest::newRow("invalid expression: nothing hidden") << "(" << true << "Not a valid regular expression: missing closing parenthesis" << "";
        QTest::newRow("no matches") << "zzz" << false << "No matches" << "Showing 0 of 5 lines";
    }
    void findAndFilter()
    {
        QFETCH(QString, find);
        QFETCH(bool, regex);
        Transcript t;
        QAbstractItemModelTester tester(&t);
        t.append(plain({"GET /a 200", "GET /b 500", "error: boom", "Error: Bang", "bb"}));
        t.setRegex(regex);
        t.setFindText(find);
        QTEST(t.findStatus(), "status");
        QCOMPARE(t.count(), 5);
        t.setFiltering(true);
        QTEST(t.shownText(), "filtered");
    }

    void movingThroughMatches()
    {
        Transcript t;
        t.append(plain({"x a", "y", "a a"}));
        QSignalSpy found(&t, &Transcript::findChanged);
        t.setFindText("a");
        QCOMPARE(t.findStatus(), "3 of 3");   // the newest first: readers are at the end
        QCOMPARE(t.currentRow(), 2);
        t.next();
        QCOMPARE(t.findStatus(), "1 of 3");   // around to the first
        QCOMPARE(t.currentRow(), 0);
        t.previous();
        t.previous();
        QCOMPARE(t.findStatus(), "2 of 3");
        QVERIFY(t.index(2).data(Transcript::StyledRole).toString().contains("#ff9f43"));   // the current match marked
        t.setService("web");   // a service chooser that hides every line hides the current match too
        QCOMPARE(t.count(), 0);
        QCOMPARE(t.currentRow(), -1);
        QCOMPARE(t.findStatus(), "No matches");   // hidden lines' matches are not counted
        t.append(plain({"web says a"}, "web"));
        t.append(plain({"db says a"}, "db"));
        QCOMPARE(t.services(), (QStringList{"db", "web"}));
        QCOMPARE(t.count(), 1);
        QCOMPARE(t.shownText(), "Showing 1 of 5 lines");
        QCOMPARE(t.findStatus(), "1 of 2");   // "says a": only the web line's two count
        t.next();
        t.next();   // around, never onto a hidden line
        QCOMPARE(t.findStatus(), "1 of 2");
        QCOMPARE(t.currentRow(), 0);
        t.setService("db");
        QCOMPARE(t.findStatus(), "2 of 2");
        QCOMPARE(t.currentRow(), 0);
    }

    void boundedInLargeSteps()
    {
        Transcript t;
        QAbstractItemModelTester tester(&t);
        const QString line(999, 'x');   // 1,000 characters with its line break
        for (int i = 0; i < 200; ++i)
            t.append(plain({line}));
        QVERIFY(!t.trimmed());
        QCOMPARE(t.total(), 200);
        t.append(plain({line}));
        QVERIFY(t.trimmed());
        QCOMPARE(t.total(), 150);   // trimmed to the last 150,000 characters at once
        t.append(plain({"tail"}));
        QCOMPARE(t.total(), 151);
        QVERIFY(t.plainText().endsWith("tail\n"));
        QCOMPARE(t.note(), "Older output was trimmed; the newest lines are kept.");
        // A gap is a note, never output: find passes it by, the filter to one service keeps it.
        t.setFindText("passed");
        t.append(plain({"after"}, "web"), 1);
        QCOMPARE(t.note(), "1 line came faster than it could be shown and was passed over; the newest are kept.");
        QCOMPARE(t.findStatus(), "No matches");
        t.setService("web");
        QCOMPARE(t.count(), 2);
        QVERIFY(t.index(0).data(Transcript::NoteRole).toBool() && !t.index(1).data(Transcript::NoteRole).toBool());
        QVERIFY(t.plainText().endsWith("tail\n[1 line passed over]\nweb | after\n"));
        t.clear();
        QCOMPARE(t.note(), QString());
    }

    void newestLinesKept_data()
    {
        QTest::addColumn<QByteArrayList>("chunks");
        QTest::addColumn<QByteArray>("kept");
        QTest::addColumn<qint64>("passedOver");
        QTest::newRow("within the limit") << QByteArrayList{"a\nbb\n", "c"} << QByteArray("a\nbb\nc") << qint64(0);
        QTest::newRow("the oldest whole lines go") << QByteArrayList{"one\ntwo\nthree\n"} << QByteArray("two\nthree\n") << qint64(1);
        QTest::newRow("the line still coming stays") << QByteArrayList{"0123456\nab", "c"} << QByteArray("abc") << qint64(1);
        QTest::newRow("a line longer than the limit goes whole") << QByteArrayList{"x\n0123456789AB", "CD", "EF\ny\n"} << QByteArray("y\n") << qint64(2);
    }
    void newestLinesKept()
    {
        QFETCH(QByteArrayList, chunks);
        LineBacklog backlog(10);
        for (const QByteArray &chunk : chunks)
            backlog.add(chunk);
        const LineBatch batch = backlog.take();
        QTEST(batch.bytes, "kept");
        QTEST(batch.passedOver, "passedOver");
        QVERIFY(backlog.isEmpty());
    }

    void drawnInTheThemesColours_data()
    {
        QTest::addColumn<QString>("raw");
        QTest::addColumn<QString>("find");
        QTest::addColumn<QString>("html");
        QTest::newRow("escaped, spacing kept") << "a <b>  &" << "" << "a &lt;b&gt;  &amp;";
        QTest::newRow("named colour from the palette, bold") << "\x1b[1;34mblue" << "" << "<span style=\"color:#7fb2ff;font-weight:600\">blue</span>";
        QTest::newRow("navy asked for on a navy page is lifted") << "\x1b[38;2;10;27;61mnavy" << "" << "<span style=\"color:#79808d\">navy</span>";
        QTest::newRow("inverse") << "\x1b[7mx" << "" << "<span style=\"color:#0a1b3d;background-color:#e8e4dc\">x</span>";
        QTest::newRow("a match inside a colour") << "\x1b[31mabc" << "b"
                                                 << "<span style=\"color:#f07a72\">a</span><span style=\"color:#111111;background-color:#ff9f43\">b</span>"
                                                    "<span style=\"color:#f07a72\">c</span>";
    }
    void drawnInTheThemesColours()
    {
        QFETCH(QString, raw);
        QFETCH(QString, find);
        TranscriptPalette obsidian;
        obsidian.ansi = {0x5C6B8A, 0xF07A72, 0x6FD39B, 0xE8C468, 0x7FB2FF, 0xD79BEF, 0x6FD39B, 0xD8D4CC,
                         0x8E99B4, 0xFF9A92, 0x8FE6B2, 0xF5D98A, 0xA5CBFF, 0xE6B8F7, 0x94E6E9, 0xF5F1E9};
        obsidian.page = 0x0A1B3D;
        obsidian.ink = 0xE8E4DC;
        const Ansi::Line line = Ansi::parse(raw).first();
        const auto matches = Finder(find, false).matchesIn(line.text);
        QFETCH(QString, html);
        QCOMPARE(Transcript::styled(line, matches, 0, obsidian), "<span style=\"white-space:pre-wrap\">" + html + "</span>");
    }

    void followerReadsLinesAndRereadsWithTimes()
    {
        m_engine->setLogOutput("first\n");
        LogFollower follower(m_engine, LogSource::container(m_web), std::nullopt);
        QCOMPARE(follower.header(), "LOGS · LAST 300");
        QCOMPARE(LogFollower::header(LogSource::project({"shop", "/srv/shop", {}, 1})), "PROJECT LOGS · LAST 300 PER SERVICE");
        follower.start();
        QVERIFY(follower.running());
        Transcript &lines = *follower.transcript();
        QTRY_COMPARE(lines.plainText(), "first\n");
        FakeStream *stream = m_engine->logStreams().constLast();
        stream->write("\xff\xfe broken\n");   // not UTF-8: dropped whole
        stream->write("sec");
        stream->write("ond \xe2\x82");   // a character split between two reads
        stream->write("\xac\n");
        QTRY_COMPARE(lines.plainText(), "first\nsecond \u20ac\n");
        emit stream->failedToStart("No such file or directory");
        QCOMPARE(lines.plainText(), "first\nsecond \u20ac\ncannot run docker: No such file or directory\n");
        // A flood read at once: the newest lines within what the transcript keeps (13,636 of
        // 11 bytes), the rest counted and marked where they were.
        QByteArray flood;
        for (int i = 0; i < 30000; ++i)
            flood += "line " + QByteArray::number(i) + '\n';
        stream->write(flood);
        QTRY_COMPARE(lines.passedOver(), 16364);
        QVERIFY(lines.plainText().endsWith("directory\n[" + QLocale().toString(16364) + " lines passed over]\nline 16364\n"
                                           + flood.sliced(flood.indexOf("line 16365\n"))));
        QCOMPARE(lines.note(), QLocale().toString(16364) + " lines came faster than they could be shown and were passed over; the newest are kept.");

        // Times are asked of the engine: the log is read again from its last 300 lines.
        const QPointer<FakeStream> before = stream;
        follower.setTimestamps(true);
        QVERIFY(!before || !before->running());
        QVERIFY(m_engine->logStreams().constLast() != before);
        QTRY_COMPARE(lines.plainText(), "first\n");
        follower.stop();
        QVERIFY(!follower.running());
        QCOMPARE(CliEngine::logArguments({m_web, true}), QStringList({"logs", "-f", "--tail", "300", "--timestamps", "abc123"}));
        QCOMPARE(CliEngine::logArguments({ComposeProject{"shop", "/srv/shop", {}, 1}, false}),
                 QStringList({"compose", "-p", "shop", "logs", "-f", "--tail", "300"}));
    }

    void transcriptEntry_data()
    {
        QTest::addColumn<ExecResult>("result");
        QTest::addColumn<QString>("entry");
        QTest::newRow("output") << ExecResult{true, "hi\n", 0, {}} << "hi\n";
        QTest::newRow("failure") << ExecResult{true, {}, 1, {}} << "[exit 1]\n";
        QTest::newRow("no final line break") << ExecResult{true, "abc", 4, {}} << "abc\n[exit 4]\n";
        QTest::newRow("silent success") << ExecResult{true, {}, 0, {}} << "";
        QTest::newRow("cannot start") << ExecResult{false, {}, -1, "no env"} << "cannot run docker: no env\n";
    }
    void transcriptEntry()
    {
        QFETCH(ExecResult, result);
        QTEST(ExecConsole::transcriptEntry(result), "entry");
    }

    void consoleRunsOneCommandAtATime()
    {
        ExecConsole console(m_engine, m_web, std::nullopt);
        QSignalSpy running(&console, &ExecConsole::runningChanged);
        console.setCommand(" \t ");
        console.run();
        QCOMPARE(console.transcript()->plainText(), QString());
        QCOMPARE(running.size(), 0);

        m_engine->setExec([](const QString &id, const QString &command) { return ExecResult{true, id + ": " + command, 0, {}}; });
        m_engine->hold(FakeEngine::Call::Exec);
        console.setCommand(" \t echo  x \t");
        console.run();
        QVERIFY(console.running());
        QCOMPARE(console.command(), QString());
        console.setCommand("echo second");
        console.run();   // ignored while the first runs, and kept in the field
        QCOMPARE(console.command(), "echo second");
        m_engine->release(FakeEngine::Call::Exec);
        QTRY_VERIFY(!console.running());
        QCOMPARE(console.transcript()->plainText(), "$ echo  x\nabc123: echo  x\n");

        // A console closed mid-command drops the result without harm.
        m_engine->hold(FakeEngine::Call::Exec);
        auto closing = std::make_unique<ExecConsole>(m_engine, m_web, std::nullopt);
        closing->setCommand("sleep");
        closing->run();
        closing.reset();
        m_engine->release(FakeEngine::Call::Exec);
        QTest::qWait(50);
    }
};

QTEST_GUILESS_MAIN(Logs)
#include "tst_logs.moc"
