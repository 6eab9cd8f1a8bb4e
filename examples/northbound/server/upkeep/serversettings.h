/// \file
/// What the server reads from its configuration file beside what the host does.
#pragma once

#include <stdexcept>
#include <string>

namespace northbound {

/// The settings are not usable; what() is one line that names file and key.
class SettingsError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Settings {
    std::string m_ListenAddress;
    int m_nListenPort = 0;  // 0: any free one
    std::string m_CollectionDirectory;
    std::string m_OutputFile;
    std::string m_DescriptionFile;
    std::string m_ElementRoot;  // the folder whose proc/net/dev and sys/class/net are the network element's
    int m_nHugeTaskLimit = 0;
    int m_nPerPortLimit = 0;
};

/// Reads the host's configuration items ListenAddress, ListenPort, CollectionDirectory, OutputFile,
/// DescriptionFile, ElementRoot, HugeTaskLimit and CollectionsPerPort; those that are not there have defaults, relative
/// paths start at the directory of \p configFile. The host must be started.
/// \throws SettingsError when a value is not what its key wants.
Settings ReadSettings(const std::string& configFile);

}  // namespace northbound
