// Single faults in the conversions, the helpers, child processes and packing.
#include <ace/Process_Manager.h>
#include <sys/wait.h>

#include <list>
#include <map>
#include <string>
#include <vector>

#include "nbihost/objectschema.h"
#include "nbiutil/conversions.h"
#include "nbiutil/selfutilcommon.h"
#include "nbiutil/zipfile.h"
#include "support/recordingfaults.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

const std::string LONG(40, 'x');  // too long to lie inside its object
using Texts = std::map<std::string, std::string>;
using Names = std::list<std::string>;

template <class Strings>
std::string Joined(const Strings& strings)
{
    std::string text;
    for (const std::string& string : strings) text += string + ",";
    return text;
}

SelfUtilCommon& Helpers()
{
    FaultHost();
    return *SelfUtilCommon::Instance();
}

ZipFileInterface& Packer()
{
    FaultHost();
    return *ZipFileInterface::Instance();
}

const std::string SECRET = "correct horse battery staple, and more";

/// What is said to be started has come to its end, and nothing else has been started.
void ExpectMade(Faults& faults, const std::string& result)
{
    faults.Expect((result == "true") == faults.Folder().Has("made"), result + ", and the opposite is true");
}

/// Old or new, never a part of either.
std::string EditFile(Faults& faults)
{
    const std::string old = "a=1\nSSLPrivateKeyPasswd x\nb=2";
    const std::string path = faults.Folder().Add("server.conf", old);
    faults.KeepSecret(SECRET);
    const std::string inCommand = "a password for the command";
    faults.KeepSecret(inCommand);
    const std::string prefix = "true '" + inCommand + "' ";
    SelfUtilCommon& helpers = Helpers();
    const std::string result = faults.During(
        [&] { return helpers.modifyCorbaItemByCfg(path, "SSLPrivateKeyPasswd", SECRET, prefix); });
    const std::string text = ReadFile(path);
    const bool bNew = text == "a=1\n-SSLPrivateKeyPasswd " + SECRET + "\nb=2";
    faults.Expect(bNew || text == old, "the file is neither the old nor the new one");
    faults.Expect(bNew || result != "true", "true, and the file is the old one");
    return result;
}

/// What was packed is gone, what was not is there.
template <class Pack>
std::string PackTwo(Faults& faults, Pack pack)
{
    const TestDirectory& folder = faults.Folder();
    Names in{folder.Add("one.csv", "1"), folder.Add("two.csv", "2")};
    Names out;
    ZipFileInterface& packer = Packer();
    std::string workDir = folder.Path();
    std::string result = faults.During([&] { return pack(packer, workDir, in, out); });
    for (const char* const pName : {"one", "two"}) {
        const std::string stem = pName;
        faults.Expect(folder.Has(stem + ".csv") || folder.Has(stem + ".csv.gz") || folder.Has("one.zip") ||
                          folder.Has("one.tar"),
                      "the file " + stem + " is gone");
    }
    return result;
}

const std::vector<Scenario> SCENARIOS = {
    {"PathFormat",
     [] {
         std::string path = LONG + "//b\\c";
         PathFormat(path);
         return path;
     }},
    {"RTrim LTrim Trim", [] { return RTrim(LONG + " ") + LTrim(" " + LONG) + Trim(" " + LONG + " "); }},
    {"Str2Int",
     [] {
         int n = 0;
         return Str2Int(LONG, n) || Str2Int("12", n) ? Str2Int("13") + n : -1;
     }},
    {"StrLower StrUpper", [] { return StrLower("A" + LONG) + StrUpper("a" + LONG); }},
    {"Int2Str Uint2Str", [] { return Int2Str(-1234567890) + Uint2Str(1234567890); }},
    {"DiffLocalUtcTime", [] { return DiffLocalUtcTime(1000000); }},
    {"IsDigit", [] { return IsDigit("123"); }},
    {"CheckAndEscapeTranform",
     [] {
         std::string s = LONG + "<&>";
         CheckAndEscapeTranform(s);
         return s;
     }},
    {"SplitStringByXMLTag",
     [] {
         std::string v;
         SplitStringByXMLTag("<a>" + LONG + "</a>", "a", v);
         return v;
     }},
    {"ClearDBPara",
     [] {
         Texts texts{{"Pwd", LONG}, {LONG, "b"}};
         ClearDBPara(texts);
         return texts.size();
     }},
    {"ByteToHex", [] { return ByteToHex(LONG.data(), 40); }},
    {"IpLong2Str", [] { return IpLong2Str(0x7F000001); }},
    {"IpStr2Long",
     [] {
         long n = 0;
         return IpStr2Long("127.0.0.1", n) ? n : -1;
     }},
    {"SplitStringByTag",
     [] {
         std::vector<std::string> pieces;
         return SplitStringByTag(LONG + ',' + LONG, pieces, ',', 0) ? Joined(pieces) : "refused";
     }},
    {"VecInt2Str",
     [] {
         std::string s;
         std::vector<int> v{1, 1234567890};
         VecInt2Str(s, v);
         return s;
     }},
    {"Parser::ParseItemNVByTag",
     [] {
         std::string name, value;
         return Parser::ParseItemNVByTag(LONG + "=" + LONG, name, value, "=") ? name + value : "none";
     }},
    {"Parser::SplitStrByTag",
     [] {
         std::vector<std::string> pieces;
         Parser::SplitStrByTag(LONG + "--" + LONG, "--", pieces);
         return Joined(pieces);
     }},
    {"SchemaUtil::GetSchemaByOperMask",
     [] {
         ObjectSchema_T schema;
         SchemaUtil::GetSchemaByOperMask(3, 1, LONG, schema);
         return schema.m_DirtyAttributes.size();
     }},

    {"SelfUtilCommon::Instance SelfUtilCommon::Destroy",
     [] {
         const bool bThere = SelfUtilCommon::Instance() != nullptr;
         SelfUtilCommon::Destroy();
         return bThere;
     },
     {"false"}},
    {"SelfUtilCommon::GetDataFromMap SelfUtilCommon::GetIntegerValueByName",
     [](Faults& faults) {
         const Texts texts{{LONG, LONG}, {"n", "7"}};
         SelfUtilCommon& helpers = Helpers();
         return faults.During([&] {
             std::string value;
             int nValue = 0;
             helpers.GetDataFromMap(texts, LONG, value);
             return helpers.GetIntegerValueByName(texts, "n", nValue) ? value + std::to_string(nValue)
                                                                      : "none";
         });
     }},
    {"SelfUtilCommon::GetSupportCfgItem SelfUtilCommon::IsSupportCfgItem",
     [](Faults& faults) {
         FaultHost().SetStr(LONG, LONG);
         FaultHost().SetInt("on", 1);
         SelfUtilCommon& helpers = Helpers();
         return faults.During([&] {
             std::string value;
             return helpers.GetSupportCfgItem(LONG, value) && helpers.IsSupportCfgItem("on") ? value : "none";
         });
     }},
    {"SelfUtilCommon::upperStr SelfUtilCommon::filePathEnvCheck SelfUtilCommon::getEnvValue",
     [](Faults& faults) {
         SelfUtilCommon& helpers = Helpers();
         setenv("NBI_FAULT", LONG.c_str(), 1);
         return faults.During([&] {
             std::string path = LONG;
             return helpers.upperStr(LONG) +
                    (helpers.filePathEnvCheck(path) ? helpers.getEnvValue("NBI_FAULT") : "no");
         });
     }},
    {"SelfUtilCommon::GetValByTag SelfUtilCommon::replaceStr",
     [](Faults& faults) {
         SelfUtilCommon& helpers = Helpers();
         return faults.During([&] {
             std::string text = helpers.GetValByTag("<a>" + LONG + "</a>", "<a>", "</a>", 3);
             helpers.replaceStr(text, "x", "yz");
             return text;
         });
     }},
    {"SelfUtilCommon::ParserNmsHostName",
     [](Faults& faults) {
         SelfUtilCommon& helpers = Helpers();
         return faults.During([&] {
             std::string address;
             return helpers.ParserNmsHostName("localhost", address) ? address : "none";
         });
     },
     {"none"}},
    {"SelfUtilCommon::GetSpliteFDNData SelfUtilCommon::GetSplitNameValueMapbyTag",
     [](Faults& faults) {
         SelfUtilCommon& helpers = Helpers();
         return faults.During([&] {
             Texts values;
             helpers.GetSpliteFDNData(values, LONG + "=1,b=" + LONG, ",");
             helpers.GetSplitNameValueMapbyTag(values, "c=3", ",");
             return values.size();
         });
     }},
    {"SelfUtilCommon::StartProcess",
     [](Faults& faults) {
         SelfUtilCommon& helpers = Helpers();
         faults.KeepSecret(SECRET);
         const std::string command = "touch made '" + SECRET + "'";
         const std::string& folder = faults.Folder().Path();
         const std::string result =
             faults.During([&] { return helpers.StartProcess(folder, command, true); });
         ExpectMade(faults, result);
         faults.Expect(wait(nullptr) == -1, "a process that nobody waited for");
         return result;
     },
     {"false"}},
    {"SelfUtilCommon::StartProcess",
     [](Faults& faults) {
         SelfUtilCommon& helpers = Helpers();
         const std::string& folder = faults.Folder().Path();
         const std::string result =
             faults.During([&] { return helpers.StartProcess(folder, "touch made", false); });
         ACE_Process_Manager::instance()->wait();
         while (wait(nullptr) > 0) continue;  // one that the manager could not keep
         ExpectMade(faults, result);
         return result;
     },
     {"false"}},
    {"SelfUtilCommon::modifyCorbaItemByCfg", EditFile, {"false"}},

    {"ZipFileInterface::Instance ZipFileInterface::Destroy ZipFileInterface::init",
     [](Faults& faults) {
         FaultHost().SetRoot("/" + LONG);
         return faults.During([] {
             ZipFileInterface* const pPacker = ZipFileInterface::Instance();
             if (pPacker == nullptr) return std::string("null");
             pPacker->init();
             const std::string path = pPacker->GetBasePath();
             ZipFileInterface::Destroy();
             return path;
         });
     },
     {"null"}},
    {"ZipFileInterface::ExecuteCmd",
     [](Faults& faults) {
         ZipFileInterface& packer = Packer();
         faults.KeepSecret(SECRET);
         const std::string command = "true '" + SECRET + "' " + LONG;
         return faults.During([&] { return packer.ExecuteCmd("/", command); });
     },
     {"false"}},
    {"ZipFileInterface::ZipFile",
     [](Faults& faults) {
         return PackTwo(faults, [](ZipFileInterface& packer, std::string& workDir, Names& in, Names& out) {
             packer.ZipFile(workDir, in, out);
             return out.size();
         });
     },
     {"1", "0"}},
    {"ZipFileInterface::GZipFile",
     [](Faults& faults) {
         return PackTwo(faults, [](ZipFileInterface& packer, std::string& workDir, Names& in, Names& out) {
             bool bTar = false;
             packer.GZipFile(workDir, in, out, bTar);
             return out.size();
         });
     },
     {"1", "0"}},
    {"ZipFileInterface::ArchiveZipFile",
     [](Faults& faults) {
         return PackTwo(faults, [](ZipFileInterface& packer, std::string& workDir, Names& in, Names& out) {
             packer.ArchiveZipFile(workDir, in, out, 2);
             return out.size();
         });
     },
     {"0"}},
    {"ZipFileInterface::TarFile",
     [](Faults& faults) {
         const TestDirectory& folder = faults.Folder();
         Names in{folder.Add("one.csv", "1"), folder.Add("two.csv", "2")};
         Names out;
         ZipFileInterface& packer = Packer();
         const std::string result = faults.During([&] { return packer.TarFile(folder.Path(), in, out, 2); });
         faults.Expect(result != "1" || (in.empty() && out.size() == 1), "not all groups are reported");
         return result;
     }},
};

}  // namespace
}  // namespace NS_UTIL

NBI_SINGLE_FAULTS(NS_UTIL::SCENARIOS)
