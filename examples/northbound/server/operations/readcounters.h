/// \file
/// One port's counters.
#pragma once

#include <string>
#include <vector>

#include "server/figures/element.h"
#include "server/serving/boundedtext.h"
#include "server/serving/operation.h"

namespace northbound {

class ReadCounters {
public:
    static constexpr Profile PROFILE{2, "counters", Place::POOL_1, Role::READER};

    struct Request {
        std::string m_Dn;  // or the port's name alone

        std::vector<BoundedText> Texts() const { return {{"the object's name", m_Dn, MAX_NAME}}; }
    };
    struct Result {
        std::string m_Dn;
        std::string m_TakenAt;  // see TimeText()
        NamedFigures m_Figures;
    };

    explicit ReadCounters(const Element& element) : m_Element(element) {}

    /// \throws ProcessException UNKNOWN_OBJECT, NO_FIGURES
    Result Run(const Request& request, const Caller& caller) const;

private:
    const Element& m_Element;
};

}  // namespace northbound
