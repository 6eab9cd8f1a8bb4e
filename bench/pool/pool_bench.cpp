// The worker pools beside what a user might pick instead. Each measurement is a process of its own, the contestants take
// turns, and what counts is the median over the rounds. The ratio is that to the best peer of a line: 1.00 is as fast, below
// is slower, above is faster.
//
//   pool_bench [ROUNDS]            every line, and the table of docs/performance.md
//   pool_bench --growth [ROUNDS]   how cost grows: lines "curve, contestant, x, y" for plot_growth.sh
//   pool_bench --only WORD [...]   the groups whose name holds the word
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "apart.h"
#include "measure.h"

namespace {

using namespace poolbench;  // NOLINT: this program is nothing but its contestants

constexpr int SECONDS_AT_MOST = 60;  // for one measurement

struct Contestant {
    const char* m_pName;
    Figures (*m_pMeasure)(const Cell&);
    bool m_bPool = true;  // false: it has no queue and no workers
    bool m_bRuntime =
        false;  // true: of the process; idle workers yield first, outlive the pool, and have a heap of their own
};

template <class Pool>
Contestant As(bool bPool = true, bool bRuntime = false)
{
    return {Pool::NAME, &Measurement<Pool>::Of, bPool, bRuntime};
}

/// Ours first.
const std::vector<Contestant>& Contestants()
{
    static const std::vector<Contestant> contestants{As<NbiPool>(),
#ifdef BENCH_ASIO
                                                     As<AsioPool>(),
#endif
#ifdef BENCH_TBB
                                                     As<TbbPool>(true, true),
#endif
                                                     As<AceQueuePool>(),
#ifdef BENCH_POCO
                                                     As<PocoPool>(),
#endif
#ifdef BENCH_LOCKFREE
                                                     As<LockFreePool>(),
#endif
                                                     As<ThreadPerTask>(false)};
    return contestants;
}

struct Group {
    std::string m_Name;
    std::vector<Cell> m_Cells;
};

int Tasks(int nUsual)
{
    return nbibench::Rounds(2) == 1 ? nUsual / 100 : nUsual;
}

Cell Stream(int nRequesters, int nWorkers, int nMicroseconds)
{
    return {Shape::STREAM, nRequesters, nWorkers, nMicroseconds, Tasks(nMicroseconds < 10 ? 40000 : 10000)};
}

Cell Busy(Cell cell)
{
    cell.m_nBusyPerCore = 1;
    return cell;
}

Cell Failing(int nWorkers)
{
    Cell cell = Stream(1, nWorkers, 0);
    cell.m_bFails = true;
    return cell;
}

Cell Trips(Shape shape, int nWorkers)
{
    return {shape, 1, nWorkers, 0, Tasks(20000)};
}

Cell Backlog(int nQueued)
{
    return {Shape::BACKLOG, 1, 1, 0, nQueued};
}

std::vector<Cell> Streams(int nRequesters)
{
    std::vector<Cell> cells;
    for (const int nWorkers : {1, 2, 20}) {
        for (const int nMicroseconds : {0, 1, 10}) {
            cells.push_back(Stream(nRequesters, nWorkers, nMicroseconds));
        }
    }
    return cells;
}

const std::vector<Group>& Groups()
{
    static const std::vector<Group> groups{
        {"one requester", Streams(1)},
        {"eight requesters", Streams(8)},
        {"round trip", {Trips(Shape::TRIPS, 1), Trips(Shape::TRIPS, 20)}},
        {"backlog", {Backlog(1000), Backlog(10000), Backlog(Tasks(100000)), Backlog(Tasks(1000000))}},
        {"1 to 400 workers",
         {Stream(1, 1, 1), Stream(1, 5, 1), Stream(1, 20, 1), Stream(1, 100, 1), Stream(1, 400, 1)}},
        {"999 workers", {Stream(1, 999, 1)}},
        {"start", {{Shape::START, 1, 20}, {Shape::START, 1, 999}}},
        {"failures", {Failing(1), Failing(20)}},
        {"busy, trips 1 ms apart", {Busy(Trips(Shape::TRIPS_APART, 1)), Busy(Trips(Shape::TRIPS_APART, 20))}},
        {"busy, trips in a row", {Busy(Trips(Shape::TRIPS, 1)), Busy(Trips(Shape::TRIPS, 20))}},
        {"busy, stream", {Busy(Stream(1, 1, 1)), Busy(Stream(1, 20, 1))}},
        {"memory", {{Shape::MEMORY, 1, 20, 0, Tasks(100000)}}},
    };
    return groups;
}

bool TakesPart(const Contestant& contestant, const Cell& cell)
{
    if (cell.m_Shape == Shape::START) return contestant.m_bPool && !contestant.m_bRuntime;
    const bool bWithoutPool =
        cell.m_Shape == Shape::STREAM && cell.m_nBusyPerCore == 0 && cell.m_nWorkers == 1;
    return contestant.m_bPool || bWithoutPool;
}

/// A thread a task is no pool. Of a runtime's heap glibc knows nothing; and where others have the cores, its workers, which
/// yield all the time, win where trips follow each other and lose a time slice a trip where they do not.
bool Counts(const Contestant& contestant, const Cell& cell)
{
    const bool bRuntimeCounts = cell.m_Shape != Shape::MEMORY && cell.m_nBusyPerCore == 0;
    return contestant.m_bPool && (!contestant.m_bRuntime || bRuntimeCounts);
}

double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// By contestant; none where it does not take part, or did not end in time. This library always does.
using Medians = std::vector<std::optional<Figures>>;

Medians MeasureCell(const Cell& cell, int nRounds)
{
    std::vector<std::array<std::vector<double>, 3>> values(Contestants().size());
    for (int i = 0; i < nRounds; ++i) {
        for (std::size_t n = 0; n < values.size(); ++n) {
            const Contestant& contestant = Contestants()[n];
            if (!TakesPart(contestant, cell)) continue;
            const auto figures =
                nbibench::Apart<Figures>([&] { return contestant.m_pMeasure(cell); }, SECONDS_AT_MOST);
            if (!figures && n == 0) {
                std::fprintf(stderr, "pool_bench: %s could not be measured\n", contestant.m_pName);
                std::exit(1);
            }
            for (std::size_t k = 0; figures && k < figures->size(); ++k) {
                values[n][k].push_back((*figures)[k]);
            }
        }
    }
    Medians medians(values.size());
    for (std::size_t n = 0; n < values.size(); ++n) {
        if (values[n][0].empty()) continue;
        medians[n] = {Median(values[n][0]), Median(values[n][1]), Median(values[n][2])};
    }
    return medians;
}

/// Of the peers that count, in one figure.
double Best(const Cell& cell, const Medians& medians, std::size_t nFigure)
{
    double nBest = std::numeric_limits<double>::max();
    for (std::size_t n = 1; n < medians.size(); ++n) {
        if (medians[n] && Counts(Contestants()[n], cell)) nBest = std::min(nBest, (*medians[n])[nFigure]);
    }
    return nBest;
}

/// A contestant's, over the lines of one group.
struct Ratios {
    double m_nLogs = 0;
    int m_nLines = 0;
    double m_nLowest = std::numeric_limits<double>::max();

    void Add(double nRatio)
    {
        m_nLogs += std::log(nRatio);
        ++m_nLines;
        m_nLowest = std::min(m_nLowest, nRatio);
    }
    double Mean() const { return std::exp(m_nLogs / m_nLines); }
};

/// Of the table: a group's figure, all contestants.
struct Row {
    std::string m_Group;
    const char* m_pFigure = nullptr;
    std::vector<Ratios> m_Ratios = std::vector<Ratios>(Contestants().size());
};

std::string NameOf(const Cell& cell)
{
    switch (cell.m_Shape) {
        case Shape::BACKLOG:
            return std::to_string(cell.m_nTasks) + " queued";
        case Shape::STREAM:
            return std::to_string(cell.m_nWorkers) + " workers, " + std::to_string(cell.m_nMicroseconds) +
                   " us";
        default:
            return std::to_string(cell.m_nWorkers) + " workers";
    }
}

/// One line: what each contestant needs, and our ratio to the best.
void PrintLine(const Group& group, const Cell& cell, const Medians& medians, std::size_t nFigure,
               double nRatio)
{
    std::printf("%-22s %-18s %-12s", group.m_Name.c_str(), NameOf(cell).c_str(),
                FIGURES[static_cast<std::size_t>(cell.m_Shape)][nFigure]);
    for (const auto& figures : medians) {
        if (figures) {
            std::printf(" %10.0f", (*figures)[nFigure]);
        } else {
            std::printf(" %10s", "-");
        }
    }
    std::printf(" %6.2f\n", nRatio);
    std::fflush(stdout);
}

/// Adds its rows to the table.
void MeasureGroup(const Group& group, int nRounds, std::vector<Row>& table)
{
    const auto& names = FIGURES[static_cast<std::size_t>(group.m_Cells[0].m_Shape)];
    const std::size_t nFirstRow = table.size();
    for (std::size_t k = 0; k < names.size() && names[k] != nullptr; ++k) {
        table.push_back({group.m_Name, names[k]});
    }
    for (const Cell& cell : group.m_Cells) {
        const Medians medians = MeasureCell(cell, nRounds);
        for (std::size_t k = 0; nFirstRow + k < table.size(); ++k) {
            const double nBest = Best(cell, medians, k);
            PrintLine(group, cell, medians, k, nBest / (*medians[0])[k]);
            for (std::size_t n = 0; n < medians.size(); ++n) {
                if (medians[n]) table[nFirstRow + k].m_Ratios[n].Add(nBest / (*medians[n])[k]);
            }
        }
    }
}

/// Beside ours those of the peers, the best of a line being one of them: who is best at times has less than 1.00, too.
void PrintTable(const std::vector<Row>& table)
{
    std::printf("\n| group | figure | ratio to the best peer | lowest of its lines |");
    for (std::size_t n = 1; n < Contestants().size(); ++n) {
        if (Contestants()[n].m_bPool) std::printf(" %s |", Contestants()[n].m_pName);
    }
    std::printf("\n| --- | --- | --- | --- |");
    for (std::size_t n = 1; n < Contestants().size(); ++n) {
        if (Contestants()[n].m_bPool) std::printf(" --- |");
    }
    std::printf("\n");
    for (const Row& row : table) {
        std::printf("| %s | %s | %.2f | %.2f |", row.m_Group.c_str(), row.m_pFigure, row.m_Ratios[0].Mean(),
                    row.m_Ratios[0].m_nLowest);
        for (std::size_t n = 1; n < row.m_Ratios.size(); ++n) {
            if (!Contestants()[n].m_bPool) continue;
            if (row.m_Ratios[n].m_nLines > 0) {
                std::printf(" %.2f |", row.m_Ratios[n].Mean());
            } else {
                std::printf(" |");
            }
        }
        std::printf("\n");
    }
}

void Compare(const std::string& word, int nRounds)
{
    std::printf("%-22s %-18s %-12s", "group", "line, ns or bytes", "figure");
    for (const Contestant& contestant : Contestants()) std::printf(" %10s", contestant.m_pName);
    std::printf(" %6s\n", "ratio");
    std::vector<Row> table;
    for (const Group& group : Groups()) {
        if (group.m_Name.find(word) != std::string::npos) MeasureGroup(group, nRounds, table);
    }
    PrintTable(table);
}

// How cost grows

struct Point {
    int m_nX = 0;
    Cell m_Cell = {};
};

void PrintCurve(const char* pCurve, std::size_t nFigure, const std::vector<Point>& points, int nRounds)
{
    for (const Point& point : points) {
        const Medians medians = MeasureCell(point.m_Cell, nRounds);
        for (std::size_t n = 0; n < medians.size(); ++n) {
            const bool bUnseen = Contestants()[n].m_bRuntime && point.m_Cell.m_Shape == Shape::MEMORY;
            if (!medians[n] || !Contestants()[n].m_bPool || bUnseen) continue;
            std::printf("%s\t%s\t%d\t%.0f\n", pCurve, Contestants()[n].m_pName, point.m_nX,
                        (*medians[n])[nFigure]);
        }
        std::fflush(stdout);
    }
}

void PrintGrowth(int nRounds)
{
    std::printf("# pool_bench --growth: curve, contestant, x, y in nanoseconds or bytes\n");
    std::vector<Point> requesters;
    for (const int n : {1, 2, 4, 8, 16, 32, 64}) requesters.push_back({n, Stream(n, 20, 1)});
    std::vector<Point> workers;
    for (const int n : {1, 2, 5, 20, 100, 400, 999}) workers.push_back({n, Stream(1, n, 1)});
    std::vector<Point> queued;
    std::vector<Point> memory;
    for (const int n : {1000, 10000, 100000, 1000000}) {
        queued.push_back({n, Backlog(Tasks(n))});
        memory.push_back({n, {Shape::MEMORY, 1, 1, 0, Tasks(n)}});
    }
    std::vector<Point> busy;
    for (const int n : {0, 1, 2, 3, 4}) {
        Cell cell = Trips(Shape::TRIPS_APART, 1);
        cell.m_nBusyPerCore = n;
        busy.push_back({n, cell});
    }
    PrintCurve("requesters", 0, requesters, nRounds);
    PrintCurve("workers", 0, workers, nRounds);
    PrintCurve("queued", 0, queued, nRounds);
    PrintCurve("memory", 1, memory, nRounds);
    PrintCurve("busy", 1, busy, nRounds);
}

}  // namespace

int main(int argc, char** argv)
{
    bool bGrowth = false;
    std::string word;
    int nRounds = 5;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--growth") == 0) {
            bGrowth = true;
        } else if (std::strcmp(argv[i], "--only") == 0 && i + 1 < argc) {
            word = argv[++i];
        } else if ((nRounds = std::atoi(argv[i])) < 1) {
            std::fprintf(stderr, "usage: pool_bench [--growth | --only WORD] [ROUNDS]\n");
            return 2;
        }
    }
    nRounds = nbibench::Rounds(nRounds);
    if (bGrowth) {
        PrintGrowth(nRounds);
    } else {
        Compare(word, nRounds);
    }
    return 0;
}
