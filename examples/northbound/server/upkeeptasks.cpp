#include "upkeeptasks.h"

#include <utility>

namespace northbound {

PackTask::PackTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, Packer& packer, PackMethod method,
                   unsigned int nPerArchive, std::shared_ptr<PackOutcome> pAnswer)
    : RequestTask(agent, descriptor),
      m_Packer(packer),
      m_Method(method),
      m_nPerArchive(nPerArchive),
      m_pAnswer(std::move(pAnswer))
{
}

void PackTask::Work()
{
    *m_pAnswer = m_Packer.Pack(m_Method, m_nPerArchive);
}

SetItemTask::SetItemTask(NS_UTIL::DBAgent& agent, NS_UTIL::AD& descriptor, ConfigEditor& editor,
                         std::string key, std::string value)
    : RequestTask(agent, descriptor), m_Editor(editor), m_Key(std::move(key)), m_Value(std::move(value))
{
}

void SetItemTask::Work()
{
    m_Editor.Set(m_Key, m_Value);
}

}  // namespace northbound
