#include "server/figures/catalogue.h"

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <set>

#include "nbiutil/sdxmlinterpreter.h"
#include "server/figures/descriptions.h"
#include "shared/descriptor.h"

namespace northbound {
namespace {

namespace fs = std::filesystem;
using NS_UTIL::SDXMLInterpreterMgr;
using NS_UTIL::XMLParseFailure;

/// The library looks the paths of includes up in the working directory. This makes it the folder of the main
/// file for as long as it lives, wherever the server was started. An unreadable folder changes nothing: the
/// main file cannot be read either then, which is reported.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const fs::path& path) : m_Before(open(".", O_PATH | O_DIRECTORY | O_CLOEXEC))
    {
        std::error_code ignored;
        fs::current_path(path, ignored);
    }
    ~WorkingDirectory()
    {
        if (!m_Before.IsOpen()) return;
        [[maybe_unused]] const int nResult =
            fchdir(m_Before.Number());  // it was the working directory already
    }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

private:
    const Descriptor m_Before;
};

/// Nothing else in the server parses description files: interpreters and macros go with the catalogue's end.
struct ManagerScope {
    ManagerScope() = default;
    ~ManagerScope() { SDXMLInterpreterMgr::Destroy(); }
    ManagerScope(const ManagerScope&) = delete;
    ManagerScope& operator=(const ManagerScope&) = delete;
};

/// Parses the files and hands them to the interpreters.
/// \return the failures of the parser
std::vector<XMLParseFailure> Parse(const std::string& mainFile, Draft& draft)
{
    const ManagerScope manager;
    const WorkingDirectory directory(fs::path(mainFile).parent_path());
    std::vector<XMLParseFailure> failures;
    RegisterMainFile(mainFile, draft);
    SDXMLInterpreterMgr::Instance()->ParseXMLFile(mainFile.c_str(), failures);
    return failures;
}

/// A document for which nobody is registered parses, and nothing comes of it.
void ReportUninterpreted(const std::set<std::string>& failed, Draft& draft)
{
    for (const auto& [name, path] : draft.m_Paths) {
        if (failed.count(path) != 0 || draft.m_Interpreted.count(name) != 0) continue;
        draft.m_Problems.push_back(
            {name,
             "left out: its outermost element is no <root interpreter=\"table\">, or, in the "
             "main file, names an interpreter"});
    }
}

}  // namespace

Catalogue LoadCatalogue(const std::string& mainFile)
{
    Draft draft;
    Catalogue catalogue;
    const fs::path folder = fs::path(mainFile).parent_path();
    std::set<std::string> failed;
    for (const XMLParseFailure& failure : Parse(mainFile, draft)) {
        failed.insert(failure.m_File);
        const std::string line = failure.m_nLine == 0 ? "" : "line " + std::to_string(failure.m_nLine) + ": ";
        catalogue.m_Problems.push_back((folder / failure.m_File).string() + ": " + line + failure.m_Reason);
    }
    ReportUninterpreted(failed, draft);
    for (const Draft::Problem& problem : draft.m_Problems) {
        const std::string& path = draft.m_Paths[problem.m_Name];
        catalogue.m_Problems.push_back((folder / path).string() + ": " + problem.m_Text);
    }
    catalogue.m_Columns = std::move(draft.m_Columns);
    return catalogue;
}

Figures Increase(const Catalogue& catalogue, const Figures& first, const Figures& last)
{
    Figures result(catalogue.m_Columns.size());
    for (std::size_t i = 0; i < result.size(); ++i) {
        if (catalogue.m_Columns[i].m_bCounter && first[i] && last[i]) result[i] = *last[i] - *first[i];
    }
    return result;
}

NamedFigures Named(const Catalogue& catalogue, const Figures& figures)
{
    NamedFigures result;
    const std::size_t nCount = std::min(figures.size(), catalogue.m_Columns.size());
    result.reserve(nCount);
    for (std::size_t i = 0; i < nCount; ++i) {
        result.push_back({catalogue.m_Columns[i].m_Name, catalogue.m_Columns[i].m_Unit, figures[i]});
    }
    return result;
}

}  // namespace northbound
