/// \file
/// Several servers that share one book.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "northbound/elementtree.h"
#include "northbound/programs/requests.h"
#include "northbound/server/cluster/booktesting.h"
#include "shared/names.h"

namespace northbound {

/// "00000000-0000-0000-0000-00000000000N"
inline std::string OperationOf(int nNumber)
{
    const std::string digits = std::to_string(nNumber);
    return "00000000-0000-0000-0000-" + std::string(12 - digits.size(), '0') + digits;
}

/// NBI_CLUSTER_ROUNDS in the environment takes the place of \p nUsual.
inline int Rounds(int nUsual)
{
    const char* const pRounds = std::getenv("NBI_CLUSTER_ROUNDS");
    return pRounds == nullptr ? nUsual : std::max(std::atoi(pRounds), 1);
}

/// A state of an order, without the ORB's ways to own things.
struct Progress {
    std::string m_Phase;
    unsigned int m_nTaken = 0;
    unsigned int m_nCode = 0;
    std::string m_Detail{};
    std::string m_Note{};
    std::string m_File{};
    std::vector<Northbound::Part> m_Parts{};
};

/// Servers "a", "b", ... on one engine, which all reach the network element "one" and write into one folder.
class ClusterTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (!HasEngine()) GTEST_SKIP() << NO_ENGINE;
        m_pEngine = &SharedEngine();
        EngineConnection connection = PatientConnection(*m_pEngine);
        MigrateSchema(connection);
        m_Tree.Show({"p0", "p1", "p2"});
    }

    /// What a test may need in place of the usual.
    struct Wish {
        std::string m_Elements = "one";
        std::string m_More{};  // items
    };
    std::string ItemsOf(const std::string& book, const std::string& name, const Wish& wish) const
    {
        std::string items = wish.m_More;
        for (const std::string item : {"BookLease = 10", "HugeTaskLimit = 100", "CollectionsPerPort = 0"}) {
            if (items.find(item.substr(0, item.find(' '))) == std::string::npos) items += item + "\n";
        }
        return "Book = " + book + "\nBookServer = " + name + "\nElements = " + wish.m_Elements +
               "\nCollectionDirectory = " + m_Files.Path() + "\nElementRoot = " + m_Tree.Root() + "\n" +
               items;
    }
    Server& StartOn(const std::string& book, const std::string& name, const Wish& wish)
    {
        m_FormerSessions.push_back(std::move(m_Sessions[name]));  // the first that goes ends the ORB for all
        m_Servers.erase(name);
        m_Servers[name] = std::make_unique<Server>(ItemsOf(book, name, wish));
        m_Sessions[name] = std::make_unique<Session>(m_Servers[name]->Address(), "alice");
        return *m_Servers[name];
    }
    Server& Start(const std::string& name, const Wish& wish)
    {
        return StartOn(m_pEngine->Text(), name, wish);
    }
    Server& Start(const std::string& name) { return Start(name, Wish()); }
    Server& ServerOf(const std::string& name) { return *m_Servers.at(name); }
    void Kill(const std::string& name)
    {
        ServerOf(name).Process().Signal(SIGKILL);
        ServerOf(name).Process().Wait();
    }

    Northbound::Manager_ptr At(const std::string& name) const { return m_Sessions.at(name)->Server(); }
    Northbound::Caller Who(const std::string& name) const { return m_Sessions.at(name)->Who(); }

    /// Again and again while the book does not answer: a call has less than a second, and machines are busy.
    static void Patiently(const std::function<void()>& call)
    {
        Northbound::OperationFailed failure;
        EXPECT_TRUE(Eventually([&] {
            failure = FailureOf(call);
            return failure.code != ErrCode::BOOK_AWAY;
        }));
        if (failure.code != 0) throw Northbound::OperationFailed(failure);
    }

    /// The code of an order's failure; 0 without one.
    unsigned int Order(const std::string& server, int nNumber, unsigned int nInterval, unsigned int nDuration,
                       const std::string& dn = "ne=one,port=p0") const
    {
        return FailureOf([&] {
                   Patiently(
                       [&] { OrderOnce(server, nNumber, northbound::Order(nInterval, nDuration, dn)); });
               })
            .code;
    }
    void OrderOnce(const std::string& server, int nNumber, const Northbound::CollectionOrder& work) const
    {
        m_bKnown = At(server)->Order(Who(server), OperationOf(nNumber).c_str(), work);
    }
    bool IsRefusedAsAway(const std::string& server, int nNumber) const
    {
        return FailureOf([&] { OrderOnce(server, nNumber, northbound::Order(10, 10, "p0")); }).code ==
               ErrCode::BOOK_AWAY;
    }

    Progress ProgressOf(const std::string& server, int nNumber, unsigned int nLimit = 0) const
    {
        Northbound::OrderState_var state;
        Patiently([&] { state = At(server)->Await(Who(server), OperationOf(nNumber).c_str(), nLimit); });
        Progress progress{state->phase.in(),  state->samplesTaken, state->code,
                          state->detail.in(), state->note.in(),    state->result.file.in()};
        for (CORBA::ULong i = 0; i < state->parts.length(); ++i) progress.m_Parts.push_back(state->parts[i]);
        return progress;
    }
    std::string TextOfPart(const std::string& server, int nNumber, unsigned int nFirst) const
    {
        Northbound::PartPiece_var piece;
        Patiently([&] { piece = At(server)->Fetch(Who(server), OperationOf(nNumber).c_str(), nFirst, 0); });
        return {reinterpret_cast<const char*>(piece->data.get_buffer()), piece->data.length()};
    }
    Progress EndOf(const std::string& server, int nNumber) const
    {
        Progress progress;
        EXPECT_TRUE(Eventually([&] {
            progress = ProgressOf(server, nNumber, 1000);
            return progress.m_Phase == "ended";
        })) << "operation "
            << nNumber;
        return progress;
    }
    /// Waits until a server carries the order out and the book knows of \p nTaken samples.
    std::string Holder(int nNumber, unsigned int nTaken = 1) const
    {
        std::string holder;
        EXPECT_TRUE(Eventually([&] {
            holder = Asked("SELECT holder FROM nbi.collection WHERE phase = 1 AND taken >= " +
                           std::to_string(nTaken) + " AND operation = '" + OperationOf(nNumber) + "'");
            return !holder.empty();
        }));
        return holder;
    }

    /// What the engine says to a statement that has one answer; "" without a row.
    std::string Asked(const std::string& statement) const
    {
        EngineConnection connection = PatientConnection(*m_pEngine);
        const Rows rows = connection.Execute(statement);
        return rows.empty() ? "" : rows[0].at(0).value_or("NULL");
    }

    /// Every sample of the collection is in exactly one part, and the lines are there.
    void ExpectWhole(const Progress& progress, unsigned int nSamples) const
    {
        EXPECT_EQ(progress.m_Phase, "ended");
        EXPECT_EQ(progress.m_nCode, 0u) << progress.m_Detail;
        unsigned int nNext = 0;
        for (const Northbound::Part& part : progress.m_Parts) {
            EXPECT_EQ(part.first, nNext);
            nNext = part.first + part.samples;
            const std::string text = ReadFile(part.file.in());
            EXPECT_GE(std::count(text.begin(), text.end(), '\n'), static_cast<long>(part.samples) + 1)
                << part.file.in();
        }
        EXPECT_EQ(nNext, nSamples);
    }

    PrivateEngine* m_pEngine = nullptr;
    const ElementTree m_Tree;
    const TestDirectory m_Files;
    mutable bool m_bKnown = false;  // of the last order
    std::map<std::string, std::unique_ptr<Server>> m_Servers;
    std::map<std::string, std::unique_ptr<Session>> m_Sessions;
    std::vector<std::unique_ptr<Session>> m_FormerSessions;
};

}  // namespace northbound
