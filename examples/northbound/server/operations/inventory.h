/// \file
/// The ports of the network element, and what their figures mean.
#pragma once

#include <string>
#include <vector>

#include "server/figures/element.h"
#include "server/serving/operation.h"

namespace northbound {

/// All ports with their facts and figures.
class Inventory {
public:
    static constexpr Profile PROFILE{1, "inventory", Place::POOL_0, Role::READER};

    struct Request {};
    struct Port {
        std::string m_Dn;
        PortFacts m_Facts;
        NamedFigures m_Figures;
    };
    struct Result {
        std::vector<Port> m_Ports;  // by name
    };

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
