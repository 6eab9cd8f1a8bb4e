/// \file
/// The book of accepted collections: what was ordered, who carries it out, how far it is.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "server/figures/column.h"
#include "shared/names.h"

namespace northbound {

struct CollectionOrder {
    std::string m_Operation;  // operation UUID without tags: the order's name, also when it is sent twice
    std::string m_Dn;
    std::string m_User;
    unsigned int m_nInterval = 1;  // milliseconds between two samples
    unsigned int m_nDuration = 0;  // milliseconds from the first sample to the last

    unsigned int Samples() const { return m_nDuration / m_nInterval + 1; }
};

struct CollectionLimits {
    int m_nOverall = 0;  // 0: none at all
    int m_nPerPort = 0;  // one more than this, and 0 sets no limit
};

enum class OrderAnswer {
    ACCEPTED,
    KNOWN,  // the book has this operation already, under way or ended: an order whose answer was lost
    FULL    // as many are accepted and not ended as may be; nothing has changed
};

/// The right to carry a collection out and to write of it. Each claim of a collection has a higher token than the one
/// before it; with a token that is not the highest nothing can be written.
struct CollectionClaim {
    std::string m_Operation;
    std::uint64_t m_nToken = 0;
};

struct ClaimedCollection {
    CollectionClaim m_Claim;
    CollectionOrder m_Order;
    unsigned int m_nTaken = 0;  // samples that its former holders have reported: it goes on behind them
};

/// What a holder has to know while it works.
enum class Standing {
    HELD,
    CANCELLED,  // held, and to be ended
    LOST        // another one holds it, may hold it, or it has ended: stop, and write no more
};

/// How a collection ended: what whoever awaits it is told.
struct CollectionEnd {
    unsigned int m_nCode = ErrCode::NOT_CARRIED_OUT;  // 0: well
    std::string m_Detail{};                           // of a failure
    std::string m_File{};
    unsigned int m_nLate = 0;
    Figures m_Increase{};
};

/// What one holder has taken of a collection, in a file of its own.
struct CollectionPart {
    std::string m_Server;
    std::uint64_t m_nToken = 0;
    unsigned int m_nFirst = 0;  // number of its first sample, from 0
    unsigned int m_nTaken = 0;
};

enum class CollectionPhase { WAITING, RUNNING, ENDED };

struct CollectionState {
    CollectionOrder m_Order;
    CollectionPhase m_Phase = CollectionPhase::WAITING;
    unsigned int m_nTaken = 0;
    bool m_bCancelled = false;
    std::vector<CollectionPart> m_Parts{};  // by token; empty where one server is alone
    CollectionEnd m_End{};                  // of one that has ended
    std::uint64_t m_nPlace = 0;             // in the order of acceptance
    std::string m_Note{};                   // why it waits where no server can take it
};

/// One of the servers that share a book.
struct ServerState {
    std::string m_Name;
    std::string m_Address;  // as clients write it
    std::string m_Version;
    unsigned int m_nLoad = 0;          // collections that it holds
    std::chrono::milliseconds m_Left;  // of its lease; negative once it is over

    std::string Key() const { return m_Name; }
    std::vector<std::string> Texts() const { return {m_Name, m_Address, m_Version}; }
};

/// Servers leave to the book which collections there are, how many may be, and whose each is. Threads: any.
///
/// Each function may throw ProcessException BOOK_AWAY, at the latest a second after it was called, except those that
/// say that they do not wait: these answer from this process's memory. What was asked of a book that is away may have
/// been done; every call may be repeated.
class CollectionBook {
public:
    virtual ~CollectionBook() = default;

    /// Holds for orders from here on; what is accepted stays. Does not wait.
    virtual void SetLimits(const CollectionLimits& limits) = 0;
    virtual CollectionLimits Limits() const = 0;

    /// Counting and accepting are one step: the limits hold to the number.
    virtual OrderAnswer Order(const CollectionOrder& order) = 0;

    /// A collection that nobody has claimed ends at once; the holder of another one finds it CANCELLED. Nothing
    /// happens to one that has ended or is not in the book.
    virtual void Cancel(const std::string& operation) = 0;

    /// Makes the caller the holder of a collection that waits for one, or whose holder is gone.
    /// \param operation of this one, or when it is "" of the oldest that the caller's server can carry out
    virtual std::optional<ClaimedCollection> Claim(const std::string& operation) = 0;

    /// Tells how many samples are taken on the whole. Does not wait.
    virtual void Report(const CollectionClaim& claim, unsigned int nTaken) = 0;

    /// Does not wait.
    virtual Standing StandingOf(const CollectionClaim& claim) const = 0;

    /// Writes what was reported, and that the holder of all claims of this process is there. To be called more often
    /// than every third of a lease; without it claims are LOST before another server may take them.
    virtual void Renew() = 0;

    /// Renews a claim no longer, so that another server goes on when its lease is over. Does not wait.
    virtual void Abandon(const CollectionClaim& claim) = 0;

    /// Gives back all claims of this process, so that others go on at once, and takes this server from the list.
    virtual void Leave() = 0;

    /// Frees the collection's place.
    /// \return false, and nothing changes, when another claim has a higher token, or the collection has ended otherwise
    virtual bool Finish(const CollectionClaim& claim, const CollectionEnd& end) = 0;

    /// Waits until a collection has ended, or is not in the book; \p limit at most.
    /// \return whether it is so
    virtual bool AwaitEnd(const std::string& operation, std::chrono::milliseconds limit) const = 0;

    /// Nothing for one that is not in the book. How long the book keeps one that has ended is its own affair.
    virtual std::optional<CollectionState> Find(const std::string& operation) const = 0;

    /// A collection that this process holds, as far as it knows by itself. Does not wait.
    virtual std::optional<CollectionState> FindHeld(const std::string& operation) const = 0;

    /// Those that have not ended, oldest first.
    virtual std::vector<CollectionState> Collections() const = 0;

    /// Where clients reach this server, for the others to tell. Does not wait.
    virtual void SetAddress(const std::string& address) = 0;

    /// By name; empty where one server is alone.
    virtual std::vector<ServerState> Servers() const = 0;

protected:
    CollectionBook() = default;
    CollectionBook(const CollectionBook&) = default;
    CollectionBook& operator=(const CollectionBook&) = default;
};

}  // namespace northbound
