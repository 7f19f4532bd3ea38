// Measures what the endpoint list's reply costs from its last byte to the rows on screen. Prints a JSON
// object per list length and round: milliseconds of each step.
#include "api/NetworkManager.h"
#include "api/Records.h"
#include "api/ServiceManager.h"
#include "bench/HomeStage.h"
#include "bench/PlainDecoding.h"
#include "bench/ReplyServer.h"
#include "bench/Stretches.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <vector>

using namespace velmora;
using namespace velmora::bench;
using namespace Qt::StringLiterals;

namespace {

constexpr int favorites = 20;

QByteArray endpointsReply(int count)
{
    std::mt19937 random(7);
    const std::vector<QByteArray> places{"New York",  "Zürich", "São Paulo", "London",  "Łódź",
                                         "Frankfurt", "Tokyo",  "Reykjavík", "תל אביב", "München"};
    std::vector<QByteArray> entries;
    for (int id = 1; id <= count; ++id) {
        const QByteArray number = QByteArray::number(id);
        entries.push_back("{\"id\":" + number + ",\"name\":\"" + places[random() % places.size()] + ' ' +
                          number + "\",\"country\":\"DE\",\"address\":\"198.18." +
                          QByteArray::number(id / 256 % 256) + '.' + QByteArray::number(id % 256) + "\"}");
    }
    std::shuffle(entries.begin(), entries.end(), random);
    QByteArray json = "{\"endpoints\":[";
    for (const QByteArray &entry : entries)
        json += entry + ',';
    json.back() = ']';
    return json + '}';
}

QByteArray favoritesReply(int count)
{
    QByteArray json = "{\"favorites\":[";
    for (int index = 1; index <= favorites; ++index)
        json += QByteArray::number(index * (count / favorites)) + ',';
    json.back() = ']';
    return json + '}';
}

/// By the bytes of the names as they stand.
void sortByBytes(QList<Service> &services)
{
    std::vector<std::pair<QByteArray, qsizetype>> order;
    order.reserve(static_cast<size_t>(services.size()));
    for (qsizetype index = 0; index < services.size(); ++index)
        order.emplace_back(services.at(index).name.toUtf8(), index);
    std::sort(order.begin(), order.end());
    QList<Service> sorted;
    sorted.reserve(services.size());
    for (const auto &[name, index] : order)
        sorted.append(std::move(services[index]));
    services = std::move(sorted);
}

template<class Action>
double millisecondsOf(Action action)
{
    QElapsedTimer timer;
    timer.start();
    action();
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

class Round
{
public:
    Round(Stretches &application, const HomeStage &homeStage) : stretches(application), stage(homeStage) {}

    /// The whole way, over HTTP.
    void ask(int count)
    {
        ServiceManager::shared() = {};
        stage.reloadLists();
        QCoreApplication::processEvents();
        stretches.restart();
        HomeVC *const home = &stage.home();
        NetworkManager::forOneRequest().getServices([home](const std::optional<ServiceResponse> &reply) {
            home->servicesReply(reply ? reply->services : std::nullopt);
        });
        // The endpoints, the favourites, the rows.
        while (stretches.replies.size() < 2)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        const size_t paintedBefore = stretches.repaints.size();
        while (stretches.repaints.size() == paintedBefore)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        figures["endpoints handler"] = stretches.replies.at(0);
        figures["favourites handler"] = stretches.replies.at(1);
        figures["paint"] = stretches.repaints.back();
        // Until the knock that waited longest has been heard.
        QElapsedTimer settling;
        settling.start();
        while (settling.elapsed() < 20)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        figures["longest"] =
            std::max({stretches.longestWait(), stretches.replies.at(0), stretches.replies.at(1)});
        if (ServiceManager::shared().countryService.size() != count - favorites)
            qFatal("the lists are not what the service sent");
    }

    /// The steps alone, each beside what it is compared with.
    void takeSteps(const QByteArray &json)
    {
        QList<Service> plain;
        std::optional<Result<ServiceResponse>> reply;
        const auto decodePlainly = [&] {
            plain = {};
            figures["plain decode"] += millisecondsOf([&] { plain = plainlyDecoded(json); }) / 2;
        };
        const auto decodeReply = [&] {
            reply.reset();
            figures["decode"] += millisecondsOf([&] { reply = decode<ServiceResponse>(json); }) / 2;
        };
        // In both orders: who comes second finds less memory ready for use.
        decodePlainly();
        decodeReply();
        plain = {};
        decodeReply();
        decodePlainly();
        if (!*reply || encode(**reply) != encode(ServiceResponse{plain}))
            qFatal("the two decoders differ");
        // Detached beforehand, which is no part of sorting.
        QList<Service> ours = plain;
        ours.detach();
        figures["byte sort"] = millisecondsOf([&] { sortByBytes(plain); });
        figures["sort"] = millisecondsOf([&] { sortByName(ours); });
        figures["reload"] = millisecondsOf([&] { stage.reloadLists(); });
    }

    void print(int count) const
    {
        std::printf("{\"count\": %d", count);
        for (const auto &[name, milliseconds] : figures)
            std::printf(", \"%s\": %.4f", name, milliseconds);
        std::printf("}\n");
    }

private:
    Stretches &stretches;
    const HomeStage &stage;
    std::map<const char *, double, std::less<std::string_view>> figures;
};

} // namespace

int main(int argc, char *argv[])
{
    Stretches application(argc, argv);
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 1;
    const HomeStage stage;
    ReplyServer server;
    qputenv("VELMORA_TEST_API", server.baseUrl().toUtf8());
    std::map<int, QByteArray> replies;
    for (const int count : {7000, 100000})
        replies[count] = endpointsReply(count);
    // The first round fills the caches.
    for (int turn = 0; turn <= rounds; ++turn) {
        for (const auto &[count, json] : replies) {
            server.setReplies(json, favoritesReply(count));
            Round round(application, stage);
            round.ask(count);
            round.takeSteps(json);
            if (turn > 0)
                round.print(count);
        }
    }
    return 0;
}
