/// \file
/// The ports of the network element, and what their figures mean.
#pragma once

#include <string>
#include <vector>

#include "server/figures/element.h"
#include "server/serving/boundedtext.h"
#include "server/serving/operation.h"
#include "server/serving/page.h"

namespace northbound {

/// The ports with their facts and figures, a page at a time. A port that comes or goes meanwhile changes nothing about the
/// others: each is in exactly one page.
class Inventory {
public:
    static constexpr Profile PROFILE{1, "inventory", Place::POOL_0, Role::READER};

    /// A page has no more ports than this.
    static constexpr std::size_t MAX_PORTS = 256;

    struct Request {
        std::string m_After;        // name of a port; "" for the first page
        unsigned int m_nLimit = 0;  // ports; 0: as many as fit

        std::vector<BoundedText> Texts() const { return {{"where the page begins", m_After, MAX_CURSOR}}; }
    };
    struct Port {
        std::string m_Dn;
        PortFacts m_Facts;
        NamedFigures m_Figures;
    };
    using Result = Page<Port>;  // by name

    explicit Inventory(const Element& element) : m_Element(element) {}

    /// \throws ProcessException NO_FIGURES
    Result Run(const Request& request, const Caller& caller) const;

private:
    const Element& m_Element;
};

/// The figures that each port has, in their order.
class Columns {
public:
    static constexpr Profile PROFILE{10, "columns", Place::REQUEST_THREAD, Role::READER};

    struct Request {};
    struct Result {
        std::vector<Column> m_Columns;
    };

    explicit Columns(const Catalogue& catalogue) : m_Catalogue(catalogue) {}

    Result Run(const Request& /*request*/, const Caller& /*caller*/) const { return {m_Catalogue.m_Columns}; }

private:
    const Catalogue& m_Catalogue;
};

}  // namespace northbound
