/// \file
/// The tasks that look after the server's own files.
#pragma once

#include <memory>
#include <string>

#include "configeditor.h"
#include "packer.h"
#include "requesttask.h"

namespace northbound {

/// Packs the collection files.
class PackTask : public RequestTask {
public:
    PackTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, Packer& packer, PackMethod method,
             unsigned int nPerArchive, std::shared_ptr<PackOutcome> pAnswer);

private:
    void Work() override;

    Packer& m_Packer;
    PackMethod m_Method;
    unsigned int m_nPerArchive;
    std::shared_ptr<PackOutcome> m_pAnswer;
};

/// Changes one item of the configuration. The log tells the key, never the value.
class SetItemTask : public RequestTask {
public:
    SetItemTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, ConfigEditor& editor, std::string key,
                std::string value);

private:
    void Work() override;

    ConfigEditor& m_Editor;
    std::string m_Key;
    std::string m_Value;
};

}  // namespace northbound
