/// \file
/// The tasks behind the northbound operations.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "collectionboard.h"
#include "figurereader.h"
#include "machine.h"
#include "requesttask.h"
#include "stopsignal.h"

namespace northbound {

struct PortEntry {
    PortFacts m_Facts;
    Figures m_Figures;
};
using PortList = std::vector<PortEntry>;

/// The network element, and which of its figures are shown.
struct Element {
    Machine m_Machine;
    Catalogue m_Catalogue;
};

/// All ports with their facts and figures.
class InventoryTask : public RequestTask {
public:
    InventoryTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, const Element& element,
                  std::shared_ptr<PortList> pAnswer);

private:
    void Work() override;

    const Element& m_Element;
    std::shared_ptr<PortList> m_pAnswer;
};

struct Reading {
    std::string m_Time;
    Figures m_Figures;
};

/// One port's counters.
class CountersTask : public RequestTask {
public:
    CountersTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, const Element& element, std::string dn,
                 std::shared_ptr<Reading> pAnswer);

private:
    void Work() override;

    const Element& m_Element;
    std::string m_Dn;
    std::shared_ptr<Reading> m_pAnswer;
};

/// What a collection is to do. Samples are taken at 0, interval, 2 * interval, ... up to the duration.
struct CollectionPlan {
    std::string m_Dn;
    std::string m_Port;
    unsigned int m_nInterval = 0;  // milliseconds
    unsigned int m_nDuration = 0;  // milliseconds

    unsigned int Samples() const { return m_nDuration / m_nInterval + 1; }
};

struct CollectionOutcome {
    std::string m_File;
    unsigned int m_nSamples = 0;
    Figures m_Increase;
};

/// What all collections share. Everything outlives the pools.
struct CollectionPlace {
    const Element& m_Element;
    CollectionBoard& m_Board;
    StopSignal& m_Stop;
    std::string m_Directory;
};

/// Samples a port's counters into a CSV file. It is on the board from construction to destruction, and looks
/// for the stop at each sample: it then fails with ErrCode::CUT_SHORT and leaves the file under its ".part"
/// name.
class CollectionTask : public RequestTask {
public:
    CollectionTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, const CollectionPlace& place,
                   CollectionPlan plan, std::shared_ptr<CollectionOutcome> pAnswer);
    ~CollectionTask() override;

private:
    void Work() override;
    void FailCutShort(unsigned int nTaken, const std::string& file) const;

    const CollectionPlace& m_Place;
    CollectionPlan m_Plan;
    std::shared_ptr<CollectionOutcome> m_pAnswer;
    std::string m_Operation;
};

/// The UUID inside "<OpUUID>...</OpUUID>"; a text without these tags as it is.
std::string BareUuid(const std::string& operation);

}  // namespace northbound
