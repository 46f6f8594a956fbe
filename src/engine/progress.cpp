#include "progress.h"

#include "docker.h"

#include <algorithm>
#include <QRegularExpression>

namespace {

using Phase = LayerProgress::Phase;

// A layer's own share of the whole, 0 to 1.
double share(const LayerProgress &layer)
{
    const double part = layer.total > 0 ? std::clamp(double(layer.current) / double(layer.total), 0.0, 1.0) : 0.0;
    switch (layer.phase) {
    case Phase::Waiting: return 0;
    case Phase::Downloading: return part / 2;
    case Phase::Downloaded: return 0.5;
    case Phase::Extracting: return 0.5 + part / 2;
    case Phase::Done:
    case Phase::Present: return 1;
    }
    return 0;
}

std::optional<Phase> layerPhase(QStringView status)
{
    static const std::pair<QLatin1String, Phase> words[] = {
        {QLatin1String("Pulling fs layer"), Phase::Waiting}, {QLatin1String("Waiting"), Phase::Waiting},
        {QLatin1String("Downloading"), Phase::Downloading},  {QLatin1String("Verifying Checksum"), Phase::Downloaded},
        {QLatin1String("Download complete"), Phase::Downloaded}, {QLatin1String("Extracting"), Phase::Extracting},
        {QLatin1String("Pull complete"), Phase::Done},       {QLatin1String("Already exists"), Phase::Present},
        // A layer that failed is retried by the engine; it stays where it was.
        {QLatin1String("Retrying"), Phase::Waiting},
    };
    for (const auto &[word, phase] : words) {
        if (status.startsWith(word))
            return phase;
    }
    return std::nullopt;
}

LayerProgress &layerNamed(PullProgress &progress, const QString &id)
{
    for (LayerProgress &layer : progress.layers) {
        if (layer.id == id)
            return layer;
    }
    progress.layers.append({id, Phase::Waiting, 0, 0});
    return progress.layers.last();
}

}

int PullProgress::toFetch() const
{
    return int(std::count_if(layers.cbegin(), layers.cend(), [](const LayerProgress &l) { return l.phase != Phase::Present; }));
}

int PullProgress::done() const
{
    return int(std::count_if(layers.cbegin(), layers.cend(), [](const LayerProgress &l) { return l.phase == Phase::Done; }));
}

qint64 PullProgress::bytesDone() const
{
    qint64 sum = 0;
    for (const LayerProgress &l : layers) {
        if (l.phase == Phase::Downloading)
            sum += std::min(l.current, l.total);
        else if (l.phase != Phase::Waiting && l.phase != Phase::Present)
            sum += l.total;
    }
    return sum;
}

qint64 PullProgress::bytesTotal() const
{
    qint64 sum = 0;
    for (const LayerProgress &l : layers) {
        if (l.phase != Phase::Present)
            sum += l.total;
    }
    return sum;
}

bool PullProgress::totalKnown() const
{
    return std::all_of(layers.cbegin(), layers.cend(), [](const LayerProgress &l) {
        return l.total > 0 || (l.phase != Phase::Waiting && l.phase != Phase::Downloading);
    });
}

double PullProgress::fraction() const
{
    double sum = 0;
    int counted = 0;
    for (const LayerProgress &l : layers) {
        if (l.phase == Phase::Present)
            continue;
        sum += share(l);
        ++counted;
    }
    return counted == 0 ? (upToDate() ? 1.0 : 0.0) : sum / counted;
}

const ServiceProgress *ComposeProgress::service(const QString &name) const
{
    for (const ServiceProgress &s : services) {
        if (s.service == name)
            return &s;
    }
    return nullptr;
}

namespace Docker {

bool readPull(PullProgress &progress, QStringView line)
{
    // "d6dbecfd0472: Downloading [>     ]  36.45kB/3.147MB", from compose without the colon.
    static const QRegularExpression layerLine(QStringLiteral(R"(^([0-9a-f]{12}):?\s+(.*?)\s*$)"));
    static const QRegularExpression amounts(QStringLiteral(R"(\]?\s+([0-9.]+\s*[kMGT]?i?B)/([0-9.]+\s*[kMGT]?i?B)\s*$)"));
    line = line.trimmed();
    if (line.startsWith(QLatin1String("Status: "))) {
        progress.status = line.sliced(8).toString();
        return true;
    }
    const auto match = layerLine.match(line);
    if (!match.hasMatch())
        return false;
    const QStringView status = match.capturedView(2);
    const auto phase = layerPhase(status);
    if (!phase)
        return false;
    LayerProgress &layer = layerNamed(progress, match.captured(1));
    if (*phase < layer.phase)
        return true;
    if (*phase != layer.phase)
        layer.current = 0;
    layer.phase = *phase;
    if (const auto sizes = amounts.match(status); sizes.hasMatch()) {
        layer.current = parseByteSize(sizes.capturedView(1)).value_or(layer.current);
        layer.total = parseByteSize(sizes.capturedView(2)).value_or(layer.total);
    }
    return true;
}

namespace {
using ServicePhase = ServiceProgress::Phase;

ServiceProgress &serviceNamed(ComposeProgress &progress, const QString &name)
{
    for (ServiceProgress &s : progress.services) {
        if (s.service == name)
            return s;
    }
    progress.services.append({name, ServicePhase::Pulling, {}});
    return progress.services.last();
}

// "shop-web-1" is service web of project shop; a container named in the file stays itself.
QString serviceOfContainer(const QString &container, const QString &project)
{
    static const QRegularExpression numbered(QStringLiteral(R"(^(.+)-\d+$)"));
    const QString prefix = project + u'-';
    if (!container.startsWith(prefix))
        return container;
    const auto match = numbered.match(QStringView(container).sliced(prefix.size()));
    return match.hasMatch() ? match.captured(1) : container;
}
}

bool readCompose(ComposeProgress &progress, QStringView line, const QString &project)
{
    // " Container shop-web-1  Started", " web Pulling", " worker Error manifest unknown"
    static const QRegularExpression resource(QStringLiteral(R"re(^(Container|Network|Volume)\s+"?([^"\s]+)"?\s+(\w+)\b\s*(.*)$)re"));
    static const QRegularExpression service(QStringLiteral(R"(^(\S+)\s+(Pulling|Pulled|Error|Skipped)\b\s*(.*)$)"));
    line = line.trimmed();
    if (readPull(progress.pulls, line))
        return true;
    if (const auto m = resource.match(line); m.hasMatch()) {
        if (m.capturedView(1) != QLatin1String("Container"))
            return true;
        static const std::pair<QLatin1String, ServicePhase> words[] = {
            {QLatin1String("Creating"), ServicePhase::Creating}, {QLatin1String("Recreate"), ServicePhase::Creating},
            {QLatin1String("Created"), ServicePhase::Created},   {QLatin1String("Recreated"), ServicePhase::Created},
            {QLatin1String("Starting"), ServicePhase::Starting}, {QLatin1String("Started"), ServicePhase::Started},
            {QLatin1String("Running"), ServicePhase::Started},   {QLatin1String("Healthy"), ServicePhase::Started},
            {QLatin1String("Error"), ServicePhase::Failed},
        };
        const QStringView word = m.capturedView(3);
        for (const auto &[name, phase] : words) {
            if (word != name)
                continue;
            ServiceProgress &s = serviceNamed(progress, serviceOfContainer(m.captured(2), project));
            s.phase = phase;
            if (phase == ServicePhase::Failed)
                s.error = m.captured(4);
        }
        return true;
    }
    if (const auto m = service.match(line); m.hasMatch()) {
        ServiceProgress &s = serviceNamed(progress, m.captured(1));
        const QStringView word = m.capturedView(2);
        if (word == QLatin1String("Error")) {
            s.phase = ServicePhase::Failed;
            s.error = m.captured(3);
        } else {
            s.phase = word == QLatin1String("Pulling") ? ServicePhase::Pulling : ServicePhase::Pulled;
        }
        return true;
    }
    return false;
}

QStringList DrawnLines::feed(QByteArrayView input)
{
    const QByteArray bytes = std::exchange(m_unread, {}) + input.toByteArray();
    QStringList lines;
    const auto cut = [&] {
        if (!m_partial.trimmed().isEmpty())
            lines << utf8(m_partial);
        m_partial.clear();
    };
    for (qsizetype i = 0; i < bytes.size(); ++i) {
        const char c = bytes[i];
        if (c == '\r' || c == '\n') {
            cut();
            continue;
        }
        if (c != '\x1b') {
            m_partial += c;
            continue;
        }
        // "ESC [ digits letter"; one cut off by the end of a read waits for the next.
        qsizetype end = i + 1;
        if (end < bytes.size() && bytes[end] == '[') {
            ++end;
            while (end < bytes.size() && (std::isdigit(uchar(bytes[end])) || bytes[end] == ';'))
                ++end;
        }
        if (end >= bytes.size()) {
            m_unread = bytes.sliced(i);
            break;
        }
        cut();
        i = end;
    }
    return lines;
}

QStringList DrawnLines::finish()
{
    QStringList lines;
    if (!m_partial.trimmed().isEmpty())
        lines << utf8(m_partial);
    m_partial.clear();
    return lines;
}

}
