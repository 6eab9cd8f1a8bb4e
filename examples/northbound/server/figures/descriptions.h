/// \file
/// The interpreters of the description files.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "server/figures/column.h"

namespace northbound {

/// A catalogue in the making. Files go by their names without folders, which therefore have to differ.
struct Draft {
    struct Problem {
        std::string m_Name;  // of the file
        std::string m_Text;
    };
    std::vector<Column> m_Columns;
    std::vector<Problem> m_Problems;
    std::map<std::string, std::string> m_Paths;  // name to path, of the main file and all that are included
    std::set<std::string> m_Interpreted;         // names
};

/// What follows the last "/" of \p path.
std::string FileNameOf(const std::string& path);

/// Registers the interpreter of the main file with SDXMLInterpreterMgr; that of the included files follows
/// when it becomes known which they are. They fill \p draft, which has to live as long as they do.
void RegisterMainFile(const std::string& path, Draft& draft);

}  // namespace northbound
