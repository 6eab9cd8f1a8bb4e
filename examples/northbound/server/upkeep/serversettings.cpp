#include "server/upkeep/serversettings.h"

#include <filesystem>

#include "nbihost/corbaconfigitems.h"
#include "shared/names.h"

namespace northbound {
namespace {

using NS_BUNDLEMGR1::CorbaConfigItems;

class ItemReader {
public:
    explicit ItemReader(std::string configFile) : m_ConfigFile(std::move(configFile)) {}

    std::string Text(const char* pKey, const char* pFallback) const
    {
        std::string value = pFallback;
        CorbaConfigItems::Instance()->GetStrItemInfo(pKey, value);
        if (value.empty()) throw SettingsError(m_ConfigFile + ": " + pKey + " is empty");
        return value;
    }

    int Number(const char* pKey, int nFallback, int nLowest, int nHighest) const
    {
        std::string text;
        if (!CorbaConfigItems::Instance()->GetStrItemInfo(pKey, text)) return nFallback;
        int nValue = 0;
        const bool bNumber = CorbaConfigItems::Instance()->GetIntItemInfo(pKey, nValue);
        if (bNumber && nValue >= nLowest && nValue <= nHighest) return nValue;
        throw SettingsError(m_ConfigFile + ": " + pKey + ": \"" + text + "\" is not a whole number from " +
                            std::to_string(nLowest) + " to " + std::to_string(nHighest));
    }

    std::string Path(const char* pKey, const char* pFallback) const
    {
        const std::filesystem::path directory = std::filesystem::absolute(m_ConfigFile).parent_path();
        return (directory / Text(pKey, pFallback)).lexically_normal().string();
    }

private:
    std::string m_ConfigFile;
};

}  // namespace

Settings ReadSettings(const std::string& configFile)
{
    const ItemReader reader(configFile);
    Settings settings;
    settings.m_ListenAddress = reader.Text("ListenAddress", DEFAULT_ADDRESS);
    settings.m_nListenPort = reader.Number("ListenPort", DEFAULT_PORT, 0, 65535);
    settings.m_CollectionDirectory = reader.Path("CollectionDirectory", "collections");
    settings.m_OutputFile = reader.Path("OutputFile", "nbi-server.out");
    settings.m_DescriptionFile = reader.Path("DescriptionFile", "descriptions/northbound.xml");
    settings.m_nHugeTaskLimit = reader.Number("HugeTaskLimit", 4, 0, 1000000);
    settings.m_nPerPortLimit = reader.Number("CollectionsPerPort", 3, 0, 1000000);
    return settings;
}

}  // namespace northbound
