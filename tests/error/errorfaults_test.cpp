// Single faults in the catalogue of reasons.
#include <filesystem>
#include <string>

#include "nbiutil/errorinfomgr.h"
#include "support/recordingfaults.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

const std::string LONG(40, 'x');  // too long to lie inside its object

std::string ReasonOf(ErrorInfoMgr& catalogue, unsigned long nCode)
{
    std::string reason;
    catalogue.GetErrReasonByErrCode(reason, nCode);
    return reason;
}

/// An installation root with one resource file.
ErrorInfoMgr& CatalogueIn(const TestDirectory& folder)
{
    folder.Add("etc/nbires/en_US/some.res", "");
    const std::string root = folder / "server";
    std::filesystem::create_directory(root);
    FaultHost().SetRoot(root);
    FaultHost().SetCfgFile(root + "/../etc/nbires/en_US/some.res", {{"1", LONG}, {"2", LONG}});
    return *ErrorInfoMgr::Instance();
}

const std::vector<Scenario> SCENARIOS = {
    {"ErrorInfoMgr::Instance ErrorInfoMgr::Destroy",
     [] {
         const bool bThere = ErrorInfoMgr::Instance() != nullptr;
         ErrorInfoMgr::Destroy();
         return bThere;
     },
     {"false"}},
    {"ErrorInfoMgr::LoadErrorInfoFrmCfg",
     [](Faults& faults) {
         ErrorInfoMgr& catalogue = CatalogueIn(faults.Folder());
         const std::string result = faults.During([&] {
             catalogue.LoadErrorInfoFrmCfg(true);
             return ReasonOf(catalogue, 1);
         });
         catalogue.LoadErrorInfoFrmCfg(true);
         faults.Expect(ReasonOf(catalogue, 2) == LONG, "a second load does not help");
         return result;
     },
     {""}},
    {"ErrorInfoMgr::ReadErrorInfoFrmCfg",
     [](Faults& faults) {
         ErrorInfoMgr& catalogue = CatalogueIn(faults.Folder());
         const std::string path = faults.Folder() / "server/../etc/nbires/en_US/some.res";
         return faults.During([&] {
             catalogue.ReadErrorInfoFrmCfg(path);
             return ReasonOf(catalogue, 1) + ReasonOf(catalogue, 2);
         });
     },
     {"", LONG}},
    {"ErrorInfoMgr::SetErrReasonByErrCode ErrorInfoMgr::GetErrReasonByErrCode",
     [](Faults& faults) {
         ErrorInfoMgr& catalogue = CatalogueIn(faults.Folder());
         catalogue.SetErrReasonByErrCode("before", 5);
         const std::string result = faults.During([&] {
             catalogue.SetErrReasonByErrCode(LONG, 5);
             return ReasonOf(catalogue, 5);
         });
         const std::string reason = ReasonOf(catalogue, 5);
         faults.Expect(reason == LONG || reason == "before", "neither the old reason nor the new one");
         return result;
     }},
};

}  // namespace
}  // namespace NS_UTIL

NBI_SINGLE_FAULTS(NS_UTIL::SCENARIOS)
