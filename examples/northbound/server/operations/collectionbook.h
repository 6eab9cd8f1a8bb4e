/// \file
/// Who carries collections out, and which are under way.
#pragma once

#include <string>
#include <vector>

#include "server/operations/collection.h"

namespace northbound {

/// A collection that is under way.
struct RunningCollection {
    std::string m_Operation;  // operation UUID without tags
    std::string m_List;       // what it is counted under: managed object and operation
    CollectionProgress m_Progress;

    std::string Key() const { return m_Progress.m_Dn + " " + m_Operation; }
    std::vector<std::string> Texts() const
    {
        return {m_Operation, m_List, m_Progress.m_Dn, m_Progress.m_User};
    }
};

/// The operations leave to the book where a collection runs and how many may. Threads: any.
class CollectionBook {
public:
    virtual ~CollectionBook() = default;

    /// Has the calling thread's request carried out as a collection, and waits for its end.
    /// \throws ProcessException HUGE_TASK_LIMIT as soon as it is clear that as many run as may; what
    ///         TakeSamples() throws
    virtual CollectionOutcome Collect(const CollectionPlan& plan) = 0;

    virtual std::vector<RunningCollection> Running() const = 0;

    /// All zero and empty for a collection that is not under way; \p operation is an operation UUID without tags.
    virtual CollectionProgress Find(const std::string& operation) const = 0;

    /// Ends the collection within a second; one that waits for a worker, as soon as it has one.
    virtual void Cancel(const std::string& operation) = 0;

protected:
    CollectionBook() = default;
    CollectionBook(const CollectionBook&) = default;
    CollectionBook& operator=(const CollectionBook&) = default;
};

}  // namespace northbound
