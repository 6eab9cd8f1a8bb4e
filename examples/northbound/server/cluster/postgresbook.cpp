#include "server/cluster/postgresbook.h"

#include <algorithm>
#include <stdexcept>
#include <thread>
#include <utility>

#include "server/serving/failure.h"
#include "shared/utf8.h"

namespace northbound {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* MODULE = "postgresbook";
constexpr std::chrono::milliseconds LOOK(100);
constexpr std::size_t MAX_DETAIL = 2000;  // bytes

/// What the engine says in its own way, as callers of a book hear it.
template <class Call>
Rows Translated(Call call)
{
    try {
        return call();
    } catch (const EngineAway& e) {
        ThrowFailure(ErrCode::BOOK_AWAY, MODULE, std::string("the shared book: ") + e.what());
    } catch (const EngineRefusal& e) {
        ThrowFailure(ErrCode::INTERNAL, MODULE, std::string("the shared book refuses: ") + e.what());
    }
}

/// As the engine reads an array of texts: {"a","b"}
std::string ArrayText(const std::vector<std::string>& values)
{
    std::string text = "{";
    for (const std::string& value : values) {
        text += text.size() == 1 ? "\"" : ",\"";
        for (const char c : value) {
            if (c == '"' || c == '\\') text += '\\';
            text += c;
        }
        text += '"';
    }
    return text + "}";
}

template <class Value>
std::string Number(Value value)
{
    return std::to_string(value);
}

std::string Milliseconds(std::chrono::milliseconds time)
{
    return Number(time.count());
}

const std::string& TextOf(const Cell& cell)
{
    static const std::string NONE;
    return cell ? *cell : NONE;
}

std::uint64_t NumberOf(const Cell& cell)
{
    return cell ? std::stoull(*cell) : 0;
}

unsigned int CountOf(const Cell& cell)
{
    return static_cast<unsigned int>(NumberOf(cell));
}

/// "1,,3": the second one was never read.
std::string FiguresText(const Figures& figures)
{
    std::string text;
    for (const auto& figure : figures) {
        text += figure ? Number(*figure) + "," : ",";
    }
    return text;
}

Figures FiguresOf(const std::string& text)
{
    Figures figures;
    for (std::size_t nBegin = 0, nEnd = 0; (nEnd = text.find(',', nBegin)) != std::string::npos;
         nBegin = nEnd + 1) {
        const std::string figure = text.substr(nBegin, nEnd - nBegin);
        figures.push_back(figure.empty() ? std::nullopt : std::optional<std::uint64_t>(std::stoull(figure)));
    }
    return figures;
}

/// "ne=<name>" of "ne=<name>,port=<name>".
std::string ElementOf(const std::string& dn)
{
    return dn.substr(0, dn.find(','));
}

constexpr const char* STATES =
    "SELECT c.operation, c.dn, c.username, c.interval_ms, c.duration_ms, c.phase, c.taken, c.cancelled, "
    "c.end_code, "
    "c.end_detail, c.end_file, c.end_late, c.end_increase, p.server, p.token, p.first, p.taken, c.place, "
    "c.phase < 2 AND (c.phase = 0 OR c.lease_until < clock_timestamp()) AND NOT EXISTS "
    "(SELECT 1 FROM nbi.server s WHERE s.lease_until > clock_timestamp() AND c.element = ANY (s.elements)) "
    "FROM nbi.collection c LEFT JOIN nbi.part p ON p.operation = c.operation WHERE ";
constexpr const char* IN_ORDER = " ORDER BY c.place, p.token";

CollectionState StateOf(const Cells& row)
{
    CollectionState state;
    state.m_Order = {TextOf(row[0]), TextOf(row[1]), TextOf(row[2]), CountOf(row[3]), CountOf(row[4])};
    state.m_Phase = static_cast<CollectionPhase>(NumberOf(row[5]));
    state.m_nTaken = CountOf(row[6]);
    state.m_bCancelled = TextOf(row[7]) == "t";
    if (state.m_Phase == CollectionPhase::ENDED) {
        state.m_End = {CountOf(row[8]), TextOf(row[9]), TextOf(row[10]), CountOf(row[11]),
                       FiguresOf(TextOf(row[12]))};
    }
    state.m_nPlace = NumberOf(row[17]);
    if (TextOf(row[18]) == "t") {
        state.m_Note = "no server that reaches " + ElementOf(state.m_Order.m_Dn) + " is there";
    }
    return state;
}

/// A row a part; those of a collection follow each other.
std::vector<CollectionState> StatesOf(const Rows& rows)
{
    std::vector<CollectionState> states;
    for (const Cells& row : rows) {
        if (states.empty() || states.back().m_Order.m_Operation != TextOf(row[0])) {
            states.push_back(StateOf(row));
        }
        if (!row[13]) continue;
        states.back().m_Parts.push_back(
            {TextOf(row[13]), NumberOf(row[14]), CountOf(row[15]), CountOf(row[16])});
    }
    return states;
}

/// What is held, as the engine reads it.
struct HeldArrays {
    std::string m_Operations;
    std::string m_Tokens;
    std::string m_Taken;
};

HeldArrays ArraysOf(const std::vector<HeldClaims::Holding>& held)
{
    std::vector<std::string> operations;
    std::vector<std::string> tokens;
    std::vector<std::string> taken;
    operations.reserve(held.size());
    tokens.reserve(held.size());
    taken.reserve(held.size());
    for (const HeldClaims::Holding& holding : held) {
        operations.push_back(holding.m_Claim.m_Operation);
        tokens.push_back(Number(holding.m_Claim.m_nToken));
        taken.push_back(Number(holding.m_nTaken));
    }
    return {ArrayText(operations), ArrayText(tokens), ArrayText(taken)};
}

PostgresBookSettings Checked(PostgresBookSettings settings)
{
    if (settings.m_Fence >= settings.m_Lease) {
        throw std::invalid_argument("the fence is not shorter than the lease");
    }
    if (settings.m_Server.empty()) throw std::invalid_argument("a server in a shared book has a name");
    if (settings.m_nConnections == 0) throw std::invalid_argument("a shared book needs a connection");
    return settings;
}

}  // namespace

PostgresBook::PostgresBook(PostgresBookSettings settings)
    : m_Settings(Checked(std::move(settings))),
      m_Engine(m_Settings.m_Connection, m_Settings.m_Limits, m_Settings.m_nConnections),
      m_RenewalEngine(m_Settings.m_Connection, m_Settings.m_Limits, 1),
      m_Held(m_Settings.m_Fence),
      m_Address(m_Settings.m_Address)
{
}

Rows PostgresBook::Ask(const std::string& statement, const Cells& parameters) const
{
    return Translated([&] { return m_Engine.Execute(statement, parameters); });
}

void PostgresBook::SetLimits(const CollectionLimits& limits)
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    m_Limits = limits;
}

CollectionLimits PostgresBook::Limits() const
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    return m_Limits;
}

OrderAnswer PostgresBook::Order(const CollectionOrder& order)
{
    const CollectionLimits limits = Limits();
    const Rows rows =
        Ask("SELECT nbi.order_collection($1, $2, $3, $4, $5, $6, $7, $8)",
            {order.m_Operation, order.m_Dn, ElementOf(order.m_Dn), order.m_User, Number(order.m_nInterval),
             Number(order.m_nDuration), Number(limits.m_nOverall), Number(limits.m_nPerPort)});
    const std::string& answer = TextOf(rows.at(0).at(0));
    if (answer == "accepted") return OrderAnswer::ACCEPTED;
    return answer == "known" ? OrderAnswer::KNOWN : OrderAnswer::FULL;
}

void PostgresBook::Cancel(const std::string& operation)
{
    Ask("SELECT nbi.cancel_collection($1, $2)", {operation, Number(ErrCode::CANCELLED)});
    m_Held.Cancel(operation);
}

std::optional<ClaimedCollection> PostgresBook::Claim(const std::string& operation)
{
    const BootTime asked = m_Held.Now();
    const Rows rows = Ask(
        "SELECT operation, token, dn, username, interval_ms, duration_ms, taken, cancelled "
        "FROM nbi.claim_collection($1, $2, $3, $4)",
        {m_Settings.m_Server, ArrayText(m_Settings.m_Elements), operation, Milliseconds(m_Settings.m_Lease)});
    if (rows.empty()) return std::nullopt;
    const Cells& row = rows[0];
    // One after the other: of a list g++ 12 destroys the claim twice when there is no memory for the order.
    ClaimedCollection claimed;
    claimed.m_Claim = {TextOf(row[0]), NumberOf(row[1])};
    claimed.m_Order = {TextOf(row[0]), TextOf(row[2]), TextOf(row[3]), CountOf(row[4]), CountOf(row[5])};
    claimed.m_nTaken = CountOf(row[6]);
    m_Held.Add({claimed.m_Claim, claimed.m_nTaken, claimed.m_Order}, TextOf(row[7]) == "t", asked);
    return claimed;
}

void PostgresBook::Renew()
{
    const std::vector<HeldClaims::Holding> held = m_Held.All();
    const HeldArrays arrays = ArraysOf(held);
    const BootTime asked = m_Held.Now();
    const Rows rows = Translated([&] {
        return m_RenewalEngine.Execute(
            "SELECT * FROM nbi.renew($1, $2, $3, $4, $5, $6, $7, $8, $9)",
            {m_Settings.m_Server, Address(), m_Settings.m_Version, ArrayText(m_Settings.m_Elements),
             arrays.m_Operations, arrays.m_Tokens, arrays.m_Taken, Milliseconds(m_Settings.m_Lease),
             Milliseconds(m_Settings.m_Kept)});
    });
    std::vector<HeldClaims::Renewed> renewed;
    renewed.reserve(rows.size());
    for (const Cells& row : rows) {
        const CollectionClaim claim{TextOf(row[0]), NumberOf(row[1])};
        renewed.push_back({claim, TextOf(row[2]) == "t"});
    }
    m_Held.Renew(held, renewed, asked);
}

void PostgresBook::Leave()
{
    const std::vector<HeldClaims::Holding> held = m_Held.All();
    const HeldArrays arrays = ArraysOf(held);
    Ask("SELECT nbi.leave($1, $2, $3, $4)",
        {m_Settings.m_Server, arrays.m_Operations, arrays.m_Tokens, arrays.m_Taken});
    for (const HeldClaims::Holding& holding : held) m_Held.Remove(holding.m_Claim);
}

void PostgresBook::SetAddress(const std::string& address)
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    m_Address = address;
}

std::string PostgresBook::Address() const
{
    std::lock_guard<std::mutex> guard(m_Mutex);
    return m_Address;
}

bool PostgresBook::Finish(const CollectionClaim& claim, const CollectionEnd& end)
{
    const Rows rows = Ask("SELECT nbi.finish_collection($1, $2, $3, $4, $5, $6, $7, $8)",
                          {claim.m_Operation, Number(claim.m_nToken), Number(m_Held.Taken(claim)),
                           Number(end.m_nCode), WellFormed(end.m_Detail.substr(0, MAX_DETAIL)), end.m_File,
                           Number(end.m_nLate), FiguresText(end.m_Increase)});
    m_Held.Remove(claim);
    return TextOf(rows.at(0).at(0)) == "t";
}

bool PostgresBook::AwaitEnd(const std::string& operation, std::chrono::milliseconds limit) const
{
    const Clock::time_point end = Clock::now() + limit;
    for (;;) {
        if (Ask("SELECT 1 FROM nbi.collection WHERE operation = $1 AND phase < 2", {operation}).empty()) {
            return true;
        }
        const Clock::time_point next = Clock::now() + LOOK;
        if (next > end) return false;
        std::this_thread::sleep_until(next);
    }
}

std::optional<CollectionState> PostgresBook::Find(const std::string& operation) const
{
    std::vector<CollectionState> states =
        StatesOf(Ask(std::string(STATES) + "c.operation = $1" + IN_ORDER, {operation}));
    if (states.empty()) return std::nullopt;
    return std::move(states[0]);
}

std::vector<CollectionState> PostgresBook::Collections() const
{
    return StatesOf(Ask(std::string(STATES) + "c.phase < 2" + IN_ORDER, {}));
}

std::vector<ServerState> PostgresBook::Servers() const
{
    const Rows rows =
        Ask("SELECT name, address, version, load, (extract(epoch FROM lease_until - clock_timestamp()) * "
            "1000)::bigint "
            "FROM nbi.server ORDER BY name COLLATE \"C\"",
            {});
    std::vector<ServerState> servers;
    servers.reserve(rows.size());
    for (const Cells& row : rows) {
        servers.push_back({TextOf(row[0]), TextOf(row[1]), TextOf(row[2]), CountOf(row[3]),
                           std::chrono::milliseconds(std::stoll(TextOf(row[4])))});
    }
    return servers;
}

}  // namespace northbound
