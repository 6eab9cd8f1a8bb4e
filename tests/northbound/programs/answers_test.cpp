// Every command's answer and every kind of failure as JSON: parsed, and held against the guide's tables.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "northbound/programs/fakeserver.h"
#include "northbound/programs/requests.h"
#include "shared/names.h"
#include "shared/passworddigest.h"

namespace northbound {
namespace {

using Json = nlohmann::json;

const std::string FAILURE = "a failure";
const std::string AS_IN_A_FAILURE = "as in a failure";

/// What may stand in each member, "ports[].dn", of each command's answer.
using Members = std::map<std::string, std::string>;

/// The lines of the guide's section that are rows of a table, each cut into its cells.
std::vector<std::vector<std::string>> RowsOfGuide()
{
    const std::string guide = ReadFile(NBI_GUIDE);
    const std::size_t nBegin = guide.find("\n## JSON\n");
    std::istringstream section(guide.substr(nBegin, guide.find("\n## ", nBegin + 1) - nBegin));
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(section, line);) {
        if (line.empty() || line[0] != '|') continue;
        std::istringstream cells(line.substr(1));
        rows.emplace_back();
        for (std::string cell; std::getline(cells, cell, '|');) {
            rows.back().push_back(std::regex_replace(cell, std::regex("^ +| +$"), ""));
        }
    }
    return rows;
}

std::vector<std::string> Quoted(const std::string& cell)
{
    static const std::regex quoted("`([^`]+)`");
    std::vector<std::string> texts;
    for (std::sregex_iterator at(cell.begin(), cell.end(), quoted), end; at != end; ++at) {
        texts.push_back((*at)[1]);
    }
    return texts;
}

std::map<std::string, Members> AnswersOfGuide()
{
    std::map<std::string, Members> answers;
    std::string command;
    for (const std::vector<std::string>& row : RowsOfGuide()) {
        if (row[0] == "`kind`") break;
        if (!row[0].empty()) command = Quoted(row[0]).empty() ? row[0] : Quoted(row[0])[0];
        for (const std::string& member : Quoted(row[1])) answers[command][member] = row[2];
    }
    return answers;
}

/// Each kind of failure with its exit code.
std::map<std::string, int> KindsOfGuide()
{
    std::map<std::string, int> kinds;
    bool bWithin = false;
    for (const std::vector<std::string>& row : RowsOfGuide()) {
        if (bWithin && !Quoted(row[0]).empty()) kinds[Quoted(row[0])[0]] = std::stoi(row[1]);
        if (row[0] == "`kind`") bWithin = true;
    }
    return kinds;
}

/// nbi-client against a server with a user, and what its answers have shown.
class AnswersTest : public ::testing::Test {
protected:
    AnswersTest()
    {
        setenv("XDG_RUNTIME_DIR", m_Runtime.Path().c_str(), 1);
        WriteFile(m_File, PASSWORD);
    }

    std::vector<Json> Ask(const std::string& command, int nExitCode, std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"--json", "--user", "anna", "--server", m_Server.Address()});
        return Check(command, nExitCode, RunClient(arguments));
    }

    /// What one of several servers answers: a book with an order, and a collection whose file is elsewhere.
    static FakeAnswers ClusterAnswers(const TestDirectory& directory)
    {
        FakeAnswers answers;
        answers.m_Servers = BookOf(directory, {"a"});
        answers.m_Orders.length(1);
        answers.m_Await = [](const std::string& operation, int /*nAsked*/) {
            Northbound::OrderState state = EndedState(operation);
            AddPart(state, "a", 0, 3);
            return state;
        };
        answers.m_Fetch = [](unsigned int /*nFirst*/,
                             unsigned long long /*nOffset*/) -> Northbound::PartPiece {
            throw Northbound::OperationFailed(ErrCode::PART_ELSEWHERE, "");
        };
        return answers;
    }

    void AskCluster()
    {
        const FakeServer a(m_Runtime, "a", ClusterAnswers(m_Runtime));
        const auto ask = [&](std::vector<std::string> words) {
            words.insert(words.begin(), {"--json", "--server", FakeServer::AddressOf(m_Runtime, "a")});
            return RunClient(words);
        };
        Check("cluster", 0, ask({"cluster"}));
        Check("collect", 0, ask({"collect", "lo"}));
        const std::string operation = "01234567-89ab-4cde-8f01-23456789abcd";
        const std::vector<std::string> fetch{"fetch", operation, m_Runtime / "all.csv"};
        Check("fetch", 4, ask(fetch));
        WriteFile(m_Runtime / ("all.csv." + operation + ".0.part"), "time,a\n1,1\n2,1\n3,1\n");
        Check("fetch", 0, ask(fetch));
    }

    /// Parses the answer and notes its members as those of \p command, or of a failure.
    std::vector<Json> Check(const std::string& command, int nExitCode, const Outcome& outcome)
    {
        EXPECT_EQ(outcome.m_nExitCode, nExitCode) << command << ": " << outcome.m_Output;
        EXPECT_EQ(outcome.m_Error, "") << command;
        std::vector<Json> answers;
        std::istringstream lines(outcome.m_Output);
        for (std::string line; std::getline(lines, line);) {
            answers.push_back(Json::parse(line, nullptr, false));
            EXPECT_TRUE(answers.back().is_object()) << command << ": " << line;
            if (answers.back().is_object()) Note(command, nExitCode, answers.back());
        }
        EXPECT_FALSE(answers.empty()) << command;
        return answers;
    }

    void Note(const std::string& command, int nExitCode, const Json& answer)
    {
        if (!answer.contains("error")) return NoteMembers(command, "", answer);
        EXPECT_EQ(answer.size(), 1u) << answer;
        NoteFailure(answer.at("error"));
        EXPECT_EQ(answer.at("error").value("exit", -1), nExitCode) << answer;
    }

    void NoteFailure(const Json& error)
    {
        NoteMembers(FAILURE, "error.", error);
        const std::string kind = error.value("kind", "");
        const auto documented = m_Kinds.find(kind);
        ASSERT_NE(documented, m_Kinds.end()) << kind;
        EXPECT_EQ(error.value("exit", -1), documented->second) << kind;
        m_KindsSeen.insert(kind);
    }

    void NoteMembers(const std::string& command, const std::string& path, const Json& object)
    {
        const bool bFigures = path == "counters." || path.find(".counters.") != std::string::npos ||
                              path.find(".increase.") != std::string::npos ||
                              path.find(".refused.") != std::string::npos;
        for (const auto& [name, value] : object.items()) {
            NoteValue(command, path + (bFigures ? "*" : name), value);
        }
    }

    std::string TypeInGuide(const std::string& command, const std::string& path) const
    {
        const auto members = m_Guide.find(command);
        if (members == m_Guide.end()) return "";
        const auto type = members->second.find(path);
        return type == members->second.end() ? "" : type->second;
    }

    void NoteValue(const std::string& command, const std::string& path, const Json& value)
    {
        const std::string type = TypeInGuide(command, path);
        if (value.is_object() && type == AS_IN_A_FAILURE) {
            m_Seen[command].insert(path);
            return NoteFailure(value);
        }
        if (value.is_object()) return NoteMembers(command, path + ".", value);
        if (value.is_array()) {
            for (const Json& item : value) NoteValue(command, path + "[]", item);
            return;
        }
        EXPECT_NE(type.find(value.type_name()), std::string::npos)
            << command << ": " << path << " is a " << value.type_name();
        m_Seen[command].insert(path);
    }

    const TestDirectory m_Runtime;
    const std::string m_File = m_Runtime.Path() + "/password";
    Server m_Server{"HugeTaskLimit = 4\nPassword_anna = " +
                    PasswordDigest("anna", PASSWORD.data(), PASSWORD.size()) + "\nRole_anna = admin\n"};
    const std::map<std::string, Members> m_Guide = AnswersOfGuide();
    const std::map<std::string, int> m_Kinds = KindsOfGuide();
    std::map<std::string, std::set<std::string>> m_Seen;
    std::set<std::string> m_KindsSeen;
};

/// A collection that runs until it is told to end, seen by those who list, watch and cancel it.
class RunningCollection {
public:
    explicit RunningCollection(const Server& server)
        : m_Program(server.Directory(), "collect",
                    {NBI_CLIENT, "--user", "anna", "--server", server.Address(), "--json", "collect", "lo",
                     "--interval", "0.05", "--duration", "3600"})
    {
    }
    Outcome End()
    {
        const int nExitCode = m_Program.Wait();
        return {nExitCode, m_Program.StandardOutput(), m_Program.StandardError()};
    }

private:
    Program m_Program;
};

TEST_F(AnswersTest, AreWhatTheGuideTells)
{
    Ask("inventory", 0, {"inventory"});
    Ask("counters", 0, {"counters", "lo"});
    const std::vector<std::string> collect{"collect", "lo", "--interval", "0.01", "--duration", "0.01"};
    // Of more than two samples, since a busy machine misses some, and a curve takes two in a row.
    const Json collected =
        Ask("collect", 0, {"collect", "lo", "--interval", "0.05", "--duration", "0.6"}).at(0);
    const std::string file = collected.at("collections").at(0).at("result").at("file");
    Ask("plot", 0, {"plot", file, "--output", m_Runtime / "lo.svg"});
    Ask("plot", 0, {"plot", file});
    Ask("plot", 2, {"plot", "/nowhere"});
    Ask("collect", 1, {"collect", "lo", "nothing", "--interval", "0.01", "--duration", "0.01"});
    std::vector<std::string> packing = collect;
    packing.insert(packing.end(), {"--pack", "tar"});
    Ask("collect", 0, packing);
    Ask("login", 0, {"login", m_File});
    Ask("sessions", 0, {"sessions"});
    Ask("collect", 0, collect);
    Ask("files", 0, {"files"});
    Ask("pack", 0, {"pack", "--per-archive", "1"});
    Ask("clean", 0, {"clean"});

    RunningCollection running(m_Server);
    const Json tasks = Ask("tasks", 0, {"tasks", "--at-least", "1"}).at(0);
    Program watch(
        m_Server.Directory(), "watch",
        {NBI_CLIENT, "--server", m_Server.Address(), "--user", "anna", "--json", "tasks", "--watch"});
    ASSERT_TRUE(Eventually([&watch] { return !watch.StandardOutput().empty(); }));
    Ask("config set", 0, {"config", "set", "HugeTaskLimit", "1"});
    Ask("collect", 1, collect);
    Ask("pools", 0, {"pools"});
    Ask("top", 0, {"top"});
    Ask("doctor", 0, {"doctor"});
    m_Seen["doctor"].insert("findings[]");  // what looks wrong takes its time: see the test of the pools
    Ask("cancel", 0, {"cancel", tasks.at("tasks").at(0).at("operation")});
    Check("collect", 1, running.End());
    const int nExitCode = watch.Wait();
    const std::vector<Json> views =
        Check("tasks", 0, {nExitCode, watch.StandardOutput(), watch.StandardError()});
    EXPECT_GE(views.size(), 2u);
    EXPECT_EQ(views.front().at("tasks").size(), 1u);
    EXPECT_EQ(views.back().at("tasks").size(), 0u) << "the end is not shown";

    Ask("config set", 0, {"config", "set", "HugeTaskLimit", "5"});
    Ask("pubkey", 0, {"pubkey"});
    Ask("send-secret", 0, {"send-secret", "--encrypt", m_File});
    Ask("password-item", 0, {"password-item", m_File});
    Ask("reason", 0, {"reason", "0x4118000A"});
    Ask("--version", 0, {"--version"});
    Ask("--help", 0, {"--help"});
    Ask("--help", 0, {"collect", "--help"});

    AskCluster();

    Ask("counters", 1, {"counters", "nothing"});
    Ask("password-item", 1, {"password-item", "/dev/null"});
    Ask("tasks", 1, {"tasks", "--at-least", "1", "--timeout", "0.2"});
    Ask("reason", 1, {"reason", "7"});
    Ask("counters", 2, {"counters"});
    Ask("send-secret", 2, {"send-secret", "/nowhere"});
    Ask("reason", 2, {"--config", "/nowhere", "reason", "7"});
    Ask("logout", 0, {"logout"});
    Ask("stop", 0, {"stop"});
    Ask("inventory", 3, {"inventory"});

    setenv("PATH", "/nowhere", 1);
    const Server withoutPackers;
    packing.insert(packing.begin(), {"--json", "--server", withoutPackers.Address()});
    Check("collect", 1, RunClient(packing));

    for (const auto& [command, members] : m_Guide) {
        for (const auto& [member, type] : members) {
            EXPECT_EQ(m_Seen[command].count(member), 1u) << command << ": " << member;
        }
    }
    m_KindsSeen.insert("unforeseen");  // nobody knows how
    for (const auto& [kind, nExit] : m_Kinds) EXPECT_EQ(m_KindsSeen.count(kind), 1u) << kind;
}

TEST_F(AnswersTest, EveryCommandHasItsRowsInTheGuide)
{
    const std::string help = RunClient({"--help"}).m_Output;
    std::istringstream lines(help.substr(help.find("\nSubcommands:")));
    static const std::regex command("^  ([a-z-]+) .*");
    std::smatch found;
    for (std::string line; std::getline(lines, line);) {
        if (!std::regex_match(line, found, command)) continue;
        const std::string name = found[1] == "config" ? "config set" : found[1].str();
        EXPECT_EQ(m_Guide.count(name), 1u) << name;
    }
}

/// A command that was carried out and could not say it has failed for whoever reads it.
TEST_F(AnswersTest, OutputThatIsLostIsTold)
{
    const std::string sampled = m_Runtime / "lo.csv";
    WriteFile(sampled, "time,rxBytes\n2026-11-21T23:59:50.000Z,1\n2026-11-21T23:59:51.000Z,2\n");
    const std::string client = std::string(NBI_CLIENT) + " --user anna --server " + m_Server.Address() + " ";
    for (const std::string& command : {std::string("inventory"),
                                       std::string("counters lo"),
                                       std::string("tasks"),
                                       std::string("tasks --watch --json"),
                                       std::string("sessions"),
                                       std::string("collect lo -q -i 0.01 -d 0.01"),
                                       std::string("collect lo -i 0.01 -d 0.5"),
                                       std::string("config set HugeTaskLimit 5"),
                                       std::string("pubkey"),
                                       "login " + m_File,
                                       std::string("logout"),
                                       "send-secret -e " + m_File,
                                       "password-item " + m_File,
                                       "plot " + sampled,
                                       std::string("reason 0x4118000A"),
                                       std::string("pools"),
                                       std::string("top --json"),
                                       std::string("--version"),
                                       std::string("--help"),
                                       std::string("stop")}) {
        for (const char* pJson : {"", " --json"}) {
            if (command == "stop" && *pJson == '\0') continue;  // the server is needed once more
            const std::string script = client + command + pJson + " 2>&1 >/dev/full";
            EXPECT_EQ(nbitest::OutputOf(script + "; echo $?"),
                      "nbi-client: the output cannot be written: No space left on device\n1\n")
                << command;
        }
    }
}

}  // namespace
}  // namespace northbound
