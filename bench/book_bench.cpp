// Orders into a shared book beside plain INSERTs into a table on the same engine, each in a transaction of its own and
// with the disk's flush that ends it, in turn in one run; then orders of 16 clients at once.
// usage: book_bench [ROUNDS]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "nbihost/recordinghost.h"
#include "northbound/server/cluster/privateengine.h"
#include "rounds.h"
#include "server/cluster/postgresbook.h"
#include "server/cluster/schema.h"

namespace {

using namespace northbound;

constexpr double RATIO_LIMIT = 0.8;
constexpr int ORDERS = 200;
constexpr int CLIENTS = 16;

EngineLimits Patient()
{
    EngineLimits limits;
    limits.m_Call = std::chrono::minutes(1);
    return limits;
}

template <class Work>
double PerSecond(int nCount, const Work& work)
{
    const auto begin = std::chrono::steady_clock::now();
    work();
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    return nCount / time.count();
}

void Order(PostgresBook& book, int nClient)
{
    for (int i = 0; i < ORDERS; ++i) {
        const std::string operation = std::to_string(nClient) + "-" + std::to_string(i);
        book.Order({operation, "ne=one,port=lo", "alice", 1000, 9000});
    }
}

void InsertPlainly(EngineConnection& connection)
{
    for (int i = 0; i < ORDERS; ++i) {
        connection.Execute("INSERT INTO public.plain VALUES ($1, $2, $3, $4, $5)",
                           {std::to_string(i), "ne=one,port=lo", "alice", "1000", "9000"});
    }
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

int Measure(int nRounds)
{
    PrivateEngine engine(PrivateEngine::Disk::FLUSHED);
    EngineConnection connection(engine.Text(), Patient());
    MigrateSchema(connection);
    connection.ExecuteScript(
        "CREATE TABLE public.plain (operation text PRIMARY KEY, dn text, username text, interval_ms bigint, "
        "duration_ms bigint)");
    PostgresBookSettings settings;
    settings.m_Connection = engine.Text();
    settings.m_Server = "one";
    settings.m_Elements = {"ne=one"};
    settings.m_Limits = Patient();
    PostgresBook book(settings);
    book.SetLimits({1000000, 0});
    std::vector<double> plain;
    std::vector<double> orders;
    std::vector<double> ratios;
    for (int i = 0; i < nRounds; ++i) {
        plain.push_back(PerSecond(ORDERS, [&] { InsertPlainly(connection); }));
        orders.push_back(PerSecond(ORDERS, [&] { Order(book, 0); }));
        ratios.push_back(orders.back() / plain.back());
        connection.ExecuteScript("TRUNCATE public.plain; TRUNCATE nbi.collection CASCADE");
    }
    const double nCrowd = PerSecond(ORDERS * CLIENTS, [&] {
        std::vector<std::thread> clients;
        clients.reserve(CLIENTS);
        for (int nClient = 0; nClient < CLIENTS; ++nClient) {
            clients.emplace_back([&book, nClient] { Order(book, nClient); });
        }
        for (std::thread& client : clients) client.join();
    });
    const double nRatio = Median(ratios);
    std::printf("plain INSERTs a second %.0f, orders a second %.0f, ratio %.2f (at least %.2f): %s\n",
                Median(plain), Median(orders), nRatio, RATIO_LIMIT,
                nRatio >= RATIO_LIMIT ? "held" : "MISSED");
    std::printf("orders a second of %d clients %.0f\n", CLIENTS, nCrowd);
    return nRatio >= RATIO_LIMIT ? 0 : 1;
}

}  // namespace

int main(int nArgs, char** pArgs)
{
    const nbitest::RecordingHost host;
    const int nRounds = nbibench::Rounds(nArgs > 1 ? std::max(std::atoi(pArgs[1]), 1) : 15);
    if (!HasEngine()) {
        std::puts(NO_ENGINE);
        return 2;
    }
    return Measure(nRounds);
}
