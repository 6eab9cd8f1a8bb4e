/// \file
/// Performance collections: ordering one, and the list of those that run.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "server/operations/collectionrunner.h"
#include "server/serving/boundedtext.h"
#include "server/serving/operation.h"
#include "server/serving/page.h"

namespace northbound {

/// Samples a port's counters into a file; answers when that is over. The work is done where the runner has it
/// done.
class Collect {
public:
    static constexpr Profile PROFILE{3, "collect", Place::REQUEST_THREAD, Role::COLLECTOR};

    struct Request {
        std::string m_Dn;              // or the port's name alone
        unsigned int m_nInterval = 0;  // milliseconds between two samples
        unsigned int m_nDuration = 0;  // milliseconds from the first sample to the last

        std::vector<BoundedText> Texts() const { return {{"the object's name", m_Dn, MAX_NAME}}; }
    };
    struct Result {
        std::string m_Dn;
        std::string m_Operation;  // operation UUID without tags
        std::string m_File;
        unsigned int m_nSamples = 0;
        unsigned int m_nLate = 0;  // samples that were taken when the next one was due, or later
        NamedFigures m_Increase;
    };

    /// \param onEnd is called when a collection has ended, well or not, before its answer leaves
    Collect(const Element& element, CollectionRunner& runner, std::function<void()> onEnd)
        : m_Element(element), m_Runner(runner), m_OnEnd(std::move(onEnd))
    {
    }

    /// \throws ProcessException UNKNOWN_OBJECT, BAD_ARGUMENT, NO_FIGURES, and what the runner throws
    Result Run(const Request& request, const Caller& caller) const;

private:
    CollectionOutcome Carry(const CollectionPlan& plan) const;

    const Element& m_Element;
    CollectionRunner& m_Runner;
    std::function<void()> m_OnEnd;
};

/// What an order asks for, when there is such a port and the times are within their ranges. Ports of elements that others
/// reach are theirs to know.
/// \throws ProcessException UNKNOWN_OBJECT, BAD_ARGUMENT, NO_FIGURES
CollectionPlan CheckedPlan(const Element& element, const Collect::Request& request, Reach reach);

/// Ends a collection of the caller's own; an admin ends anybody's.
class Cancel {
public:
    static constexpr Profile PROFILE{15, "cancel", Place::REQUEST_THREAD, Role::COLLECTOR};

    struct Request {
        std::string m_Operation;  // operation UUID without tags

        std::vector<BoundedText> Texts() const { return {{"the operation", m_Operation, MAX_NAME}}; }
    };
    struct Result {};

    explicit Cancel(CollectionBook& book) : m_Book(book) {}

    /// \throws ProcessException BAD_ARGUMENT when there is no such collection, NOT_ALLOWED when it is another user's
    Result Run(const Request& request, const Caller& caller) const;

private:
    CollectionBook& m_Book;
};

/// The collections that run, and how far they are, a page at a time.
class HugeTasks {
public:
    static constexpr Profile PROFILE{4, "tasks", Place::REQUEST_THREAD, Role::READER};

    using Request = PageRequest;
    using Result = Page<RunningCollection>;

    explicit HugeTasks(const CollectionRunner& runner) : m_Runner(runner) {}

    Result Run(const Request& request, const Caller& /*caller*/) const
    {
        return PageBehind(request.m_After, m_Runner.Running());
    }

private:
    const CollectionRunner& m_Runner;
};

}  // namespace northbound
