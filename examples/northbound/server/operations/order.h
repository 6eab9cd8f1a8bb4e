/// \file
/// Collections that are ordered without waiting for their end, and what has become of them.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "server/operations/collect.h"
#include "server/operations/partfiles.h"
#include "server/serving/boundedtext.h"
#include "server/serving/operation.h"
#include "server/serving/page.h"

namespace northbound {

/// Accepts a collection under an operation UUID that the client has made. Where servers share a book, any of them
/// carries it out.
class Order {
public:
    static constexpr Profile PROFILE{19, "order", Place::REQUEST_THREAD, Role::COLLECTOR};

    struct Request {
        std::string m_Operation;  // operation UUID without tags
        Collect::Request m_Work;

        std::vector<BoundedText> Texts() const
        {
            return {{"the operation", m_Operation, MAX_NAME}, {"the object's name", m_Work.m_Dn, MAX_NAME}};
        }
    };
    struct Result {
        bool m_bKnown = false;  // it was sent before; nothing has changed
    };

    Order(const Element& element, CollectionRunner& runner) : m_Element(element), m_Runner(runner) {}

    /// \throws ProcessException BAD_ARGUMENT, UNKNOWN_OBJECT, NO_FIGURES, HUGE_TASK_LIMIT, and what the book throws
    Result Run(const Request& request, const Caller& caller) const;

private:
    const Element& m_Element;
    CollectionRunner& m_Runner;
};

/// What has become of an order.
struct OrderProgress {
    CollectionState m_State;
    std::vector<CollectionShare> m_Shares;  // by their first sample
    NamedFigures m_Increase;                // of one that has ended well
};

/// Waits for an order's end; may be asked again and again, and of any server of the book.
class Await {
public:
    static constexpr Profile PROFILE{20, "await", Place::REQUEST_THREAD, Role::READER};

    static constexpr unsigned int LONGEST = 10000;  // milliseconds

    struct Request {
        std::string m_Operation;
        unsigned int m_nLimit = 0;  // milliseconds; what is beyond LONGEST does not count

        std::vector<BoundedText> Texts() const { return {{"the operation", m_Operation, MAX_NAME}}; }
    };
    using Result = OrderProgress;

    Await(const Element& element, const CollectionBook& book, const PartFiles& files, const StopSignal& stop)
        : m_Element(element), m_Book(book), m_Files(files), m_Stop(stop)
    {
    }

    /// \throws ProcessException UNKNOWN_OPERATION, and what the book throws
    Result Run(const Request& request, const Caller& caller) const;

private:
    void Wait(const Request& request, const Caller& caller) const;

    const Element& m_Element;
    const CollectionBook& m_Book;
    const PartFiles& m_Files;
    const StopSignal& m_Stop;
};

/// An order that has not ended, in a list.
struct OpenOrder {
    CollectionState m_State;
    std::string m_Server;  // that carries it out; "" where one server is alone

    /// Grows with the order of acceptance.
    std::string Key() const;
    std::vector<std::string> Texts() const
    {
        const CollectionOrder& order = m_State.m_Order;
        return {order.m_Operation, order.m_Dn, order.m_User, m_Server, m_State.m_Note};
    }
};

/// The orders that have not ended, of all servers that share the book, a page at a time.
class Orders {
public:
    static constexpr Profile PROFILE{21, "orders", Place::REQUEST_THREAD, Role::READER};

    using Request = PageRequest;
    using Result = Page<OpenOrder>;  // oldest first

    explicit Orders(const CollectionBook& book) : m_Book(book) {}

    /// \throws ProcessException what the book throws
    Result Run(const Request& request, const Caller& caller) const;

private:
    const CollectionBook& m_Book;
};

/// The servers that share the book, a page at a time.
class Servers {
public:
    static constexpr Profile PROFILE{22, "servers", Place::REQUEST_THREAD, Role::READER};

    using Request = PageRequest;
    using Result = Page<ServerState>;  // by name; none where one server is alone

    explicit Servers(const CollectionBook& book) : m_Book(book) {}

    /// \throws ProcessException what the book throws
    Result Run(const Request& request, const Caller& /*caller*/) const
    {
        return PageBehind(request.m_After, m_Book.Servers());
    }

private:
    const CollectionBook& m_Book;
};

}  // namespace northbound
