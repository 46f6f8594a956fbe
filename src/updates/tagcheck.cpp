#include "tagcheck.h"

#include <QHostAddress>
#include <QtConcurrent>
#include <memory>
#include <vector>

#include <QCoroFuture>

using namespace std::chrono_literals;

namespace TagCheckRun {

namespace {

// Registries are asked side by side, but not so many at once that one is flooded.
constexpr int askers = 4;
constexpr auto helperDeadline = 10s;

CredentialHelper::Answer signInFor(const ImageReference &reference)
{
    const DockerConfig config = DockerConfig::read();
    const QString helper = config.helperFor(reference.domain);
    if (helper.isEmpty())
        return {config.storedFor(reference.domain), {}};
    return CredentialHelper::get(helper, reference.credentialKey(), helperDeadline);
}

QCoro::Task<CredentialHelper::Answer> credentials(ImageReference reference)
{
    auto reading = QtConcurrent::run(&signInFor, reference);
    const CredentialHelper::Answer answer = co_await reading;
    co_return answer;
}

struct Round {
    Round(QList<ImageReference> tags, std::shared_ptr<TagLedger> ledger, RegistryClient::PlainHttp plainHttp)
        : tags(std::move(tags)), ledger(std::move(ledger)), client(&credentials, std::move(plainHttp))
    {
    }
    QList<ImageReference> tags;
    qsizetype next = 0;
    std::shared_ptr<TagLedger> ledger;
    RegistryClient client;
};

QCoro::Task<> asker(std::shared_ptr<Round> round)
{
    while (round->next < round->tags.size()) {
        const ImageReference reference = round->tags.at(round->next++);
        auto asking = round->client.digestOf(reference);
        const RegistryAnswer answer = co_await asking;
        const QString key = reference.canonical();
        const auto before = round->ledger->tags.contains(key) ? std::optional(round->ledger->tags.value(key)) : std::nullopt;
        round->ledger->tags.insert(key, NewerImages::recorded(before, answer, QDateTime::currentDateTimeUtc()));
    }
}

} // namespace

QMap<QString, ImageReference> checkableTags(const QList<ImageOrigin> &origins)
{
    QMap<QString, ImageReference> tags;
    for (const ImageOrigin &origin : origins)
        for (const QString &tag : origin.tags)
            if (const auto ref = ImageReference::parse(tag); ref && NewerImages::checkable(*ref, origin))
                tags.insert(ref->canonical(), *ref);
    return tags;
}

bool plainHttpAllowed(const QString &host, const QList<InsecureRegistries> &insecure)
{
    if (RegistryClient::isLoopback(host))
        return true;
    const QHostAddress address(host.count(u':') == 1 ? host.section(u':', 0, 0) : host);
    for (const InsecureRegistries &engine : insecure) {
        if (engine.names.contains(host))
            return true;
        if (!address.isNull())
            for (const QString &network : engine.networks)
                if (address.isInSubnet(QHostAddress::parseSubnet(network)))
                    return true;
    }
    return false;
}

QCoro::Task<> ask(QList<ImageReference> tags, std::shared_ptr<TagLedger> ledger, RegistryClient::PlainHttp plainHttp,
                  std::shared_ptr<QHash<QString, AuthChallenge>> challenges)
{
    auto round = std::make_shared<Round>(std::move(tags), std::move(ledger), std::move(plainHttp));
    if (challenges)
        round->client.setChallenges(*challenges);
    std::vector<QCoro::Task<>> running;
    for (int i = 0; i < askers; ++i)
        running.push_back(asker(round));
    for (QCoro::Task<> &task : running)
        co_await task;
    if (challenges)
        *challenges = round->client.challenges();
}

} // namespace TagCheckRun
