// Reading description files, beside two peers in the same run: bare expat with empty handlers, which is the
// floor, and a tree that holds the same as a user would write it (elements in a std::list, attributes in a
// std::vector, three std::string for an attribute's texts). Every line gives the ratio of the minima of CPU
// time. What three arrays of their own for each attribute cost, and nothing else, stands beside them.
#include <expat.h>
#include <fcntl.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <list>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "nbiutil/sdxmlinterpreter.h"
#include "rounds.h"

namespace {

std::size_t g_nAllocations = 0;  // one thread allocates here
int g_nHandOvers = 0;            // how often expat was given something

}  // namespace

extern "C" {
// In front of expat's by --wrap.
XML_Status __real_XML_ParseBuffer(XML_Parser parser, int nLength, int nFinal);
XML_Status __wrap_XML_ParseBuffer(XML_Parser parser, int nLength, int nFinal)
{
    ++g_nHandOvers;
    return __real_XML_ParseBuffer(parser, nLength, nFinal);
}
}

void* operator new(std::size_t nSize)
{
    ++g_nAllocations;
    if (void* const pBlock = std::malloc(nSize)) return pBlock;
    throw std::bad_alloc();
}
void operator delete(void* pBlock) noexcept
{
    std::free(pBlock);
}
void operator delete(void* pBlock, std::size_t) noexcept
{
    std::free(pBlock);
}

namespace {

using NS_UTIL::SDXMLInterpreter;
using NS_UTIL::SDXMLInterpreterMgr;
using NS_UTIL::XMLTag;

constexpr int PIECE = 256;
constexpr std::size_t MEGABYTE = 1000000;

// The figures go where standard output went; the parser's own lines go where a measurement sends them.
std::FILE* g_pReport = nullptr;

void SendStdoutTo(const std::string& path)
{
    std::fflush(stdout);
    const int nFile = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    dup2(nFile, STDOUT_FILENO);
    close(nFile);
}

double CpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

using Work = std::function<void()>;

/// The least time of \p nRounds in a process of its own, so that each contender pays for what its own blocks
/// cost the heap, in whatever round, and nobody for another's.
double LeastTimeInChild(int nRounds, const Work& work)
{
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0) std::abort();
    std::fflush(nullptr);
    const pid_t nChild = fork();
    if (nChild == 0) {
        double least = std::numeric_limits<double>::max();
        for (int i = 0; i < nRounds; ++i) {
            const double start = CpuSeconds();
            work();
            if (i > 0) least = std::min(least, CpuSeconds() - start);  // the first one meets a fresh heap
        }
        _exit(write(pipeEnds[1], &least, sizeof(least)) == sizeof(least) ? 0 : 1);
    }
    double least = 0;
    if (nChild < 0 || read(pipeEnds[0], &least, sizeof(least)) != sizeof(least)) std::abort();
    close(pipeEnds[0]);
    close(pipeEnds[1]);
    waitpid(nChild, nullptr, 0);
    return least;
}

/// The least time of each, taken in turn, so that what the machine does to one it does to the others.
std::vector<double> LeastTimes(int nUsualRounds, const std::vector<Work>& works)
{
    const int nTurns = nbibench::Rounds(4);
    std::vector<double> least(works.size(), std::numeric_limits<double>::max());
    for (int i = 0; i < nTurns; ++i) {
        for (std::size_t nWork = 0; nWork < works.size(); ++nWork) {
            least[nWork] =
                std::min(least[nWork], LeastTimeInChild(nbibench::Rounds(nUsualRounds), works[nWork]));
        }
    }
    return least;
}

void Report(const std::string& what, double nOurs, double nPeer, const char* pUnit, double nLimit)
{
    std::fprintf(g_pReport, "%-62s %9.3f %9.3f %s  ratio %.2f, at most %.2f%s\n", what.c_str(), nOurs, nPeer,
                 pUnit, nOurs / nPeer, nLimit, nOurs / nPeer <= nLimit ? "" : "  MISSED");
}

// The peers

struct PlainItem {
    int m_nId;
    std::string m_Name;
    std::string m_Value;
    std::string m_PrintValue;
};

struct PlainTag {
    int m_nId = -1;
    std::string m_Name;
    std::string m_Text;
    std::vector<PlainItem> m_Items;
    std::list<PlainTag> m_Children;
};

struct PlainBuilder {
    static void XMLCALL Start(void* pUser, const XML_Char* pName, const XML_Char** ppAttributes)
    {
        auto& builder = *static_cast<PlainBuilder*>(pUser);
        PlainTag& tag =
            builder.m_Open.empty() ? builder.m_Root : builder.m_Open.back()->m_Children.emplace_back();
        tag.m_Name = pName;
        builder.m_Open.push_back(&tag);
        std::size_t nTexts = 0;
        while (ppAttributes[nTexts] != nullptr) ++nTexts;
        tag.m_Items.reserve(nTexts / 2);
        for (std::size_t i = 0; i < nTexts; i += 2) {
            // NOLINTNEXTLINE(clang-analyzer-cplusplus.StringChecker): expat gives a value to each name
            tag.m_Items.push_back({-1, ppAttributes[i], ppAttributes[i + 1], ppAttributes[i + 1]});
        }
    }
    static void XMLCALL End(void* pUser, const XML_Char*)
    {
        static_cast<PlainBuilder*>(pUser)->m_Open.pop_back();
    }

    PlainTag m_Root;
    std::vector<PlainTag*> m_Open;
};

/// Makes three arrays for each attribute and remembers them, nothing else.
struct ArraysAlone {
    static void XMLCALL Start(void* pUser, const XML_Char*, const XML_Char** ppAttributes)
    {
        auto& arrays = *static_cast<ArraysAlone*>(pUser);
        for (; *ppAttributes != nullptr; ppAttributes += 2) {
            for (const char* pText : {ppAttributes[0], ppAttributes[1], ppAttributes[1]}) {
                const std::size_t nSize = std::strlen(pText) + 1;
                arrays.m_Texts.push_back(static_cast<char*>(std::memcpy(new char[nSize], pText, nSize)));
            }
        }
    }
    void Release()
    {
        for (const char* pText : m_Texts) delete[] pText;
        m_Texts.clear();
    }

    std::vector<char*> m_Texts;
};

void XMLCALL NoStart(void*, const XML_Char*, const XML_Char**)
{
}
void XMLCALL NoEnd(void*, const XML_Char*)
{
}
void XMLCALL NoText(void*, const XML_Char*, int)
{
}

/// Reads a file in the library's pieces.
void Feed(const std::string& path, void* pUser, XML_StartElementHandler start, XML_EndElementHandler end)
{
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
        XML_ParserCreate_MM(nullptr, nullptr, nullptr), &XML_ParserFree);
    XML_SetUserData(parser.get(), pUser);
    XML_SetElementHandler(parser.get(), start, end);
    XML_SetCharacterDataHandler(parser.get(), &NoText);
    std::FILE* const pFile = std::fopen(path.c_str(), "r");
    bool bParsed = pFile != nullptr;
    while (bParsed && std::feof(pFile) == 0) {
        const std::size_t nRead = std::fread(XML_GetBuffer(parser.get(), PIECE), 1, PIECE, pFile);
        bParsed = XML_ParseBuffer(parser.get(), static_cast<int>(nRead), nRead == 0) == XML_STATUS_OK;
    }
    if (!bParsed) std::abort();
    std::fclose(pFile);
}

void BareExpat(const std::string& path)
{
    Feed(path, nullptr, &NoStart, &NoEnd);
}

/// Parses a text that is in memory.
void ExpatAtOnce(const std::string& text)
{
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(
        XML_ParserCreate_MM(nullptr, nullptr, nullptr), &XML_ParserFree);
    XML_SetElementHandler(parser.get(), &NoStart, &NoEnd);
    if (XML_Parse(parser.get(), text.data(), static_cast<int>(text.size()), XML_TRUE) != XML_STATUS_OK) {
        std::abort();
    }
}

void PlainTree(const std::string& path)
{
    PlainBuilder builder;
    Feed(path, &builder, &PlainBuilder::Start, &PlainBuilder::End);
}

void ThreeArrays(const std::string& path)
{
    static ArraysAlone arrays;  // keeps the room for its pointers from round to round
    Feed(path, &arrays, &ArraysAlone::Start, &NoEnd);
    arrays.Release();
}

void Ours(const std::string& path)
{
    if (SDXMLInterpreterMgr::Instance()->ParseXMLFile(path.c_str()) != 0) std::abort();
}

// The documents

struct Document {
    std::string m_Path;
    std::size_t m_nElements = 0;
};

/// Descriptions of counters: where each is read, its unit and what it is.
constexpr const char* DESCRIBED =
    "<column name=\"rxDroppedPackets\" file=\"/sys/class/net/eth0/statistics/rx_dropped\" unit=\"packets\" "
    "type=\"counter64\" description=\"Packets that were received and then dropped for want of room\"/>";
/// Values that a std::string holds without a block of its own, which spares the plain tree three blocks of
/// five.
constexpr const char* SHORT = "<column name=\"rxBytes\" unit=\"bytes\" type=\"counter64\"/>";

/// Tables of \p column, with \p between before every tag.
Document WriteDocument(const std::string& path, std::size_t nSize, const std::string& column,
                       const std::string& between)
{
    constexpr int COLUMNS = 8;
    Document document{path, 1};
    std::string text = "<root interpreter=\"counters\">";
    for (int nTable = 0; text.size() < nSize; ++nTable) {
        text += between + "<table name=\"interface" + std::to_string(nTable) + "\">";
        for (int i = 0; i < COLUMNS; ++i) text += between + column;
        text += between + "</table>";
        document.m_nElements += 1 + COLUMNS;
    }
    std::ofstream(path, std::ios::binary) << text << "</root>\n";
    return document;
}

// Memory

double HeapBytes()
{
    return static_cast<double>(mallinfo2().uordblks + mallinfo2().hblkhd);
}

/// Weighs the tree while it is interpreted.
class WeighingInterpreter : public SDXMLInterpreter {
public:
    int InterpretXMLTag(const XMLTag& /*tag*/) override
    {
        m_nBytes = HeapBytes();
        return 0;
    }
    double m_nBytes = 0;
};

void CompareMemory(const Document& document, const std::string& label, WeighingInterpreter& weigher)
{
    const auto nElements = static_cast<double>(document.m_nElements);
    const double nBefore = HeapBytes();
    Ours(document.m_Path);
    const double nOurs = weigher.m_nBytes - nBefore;
    const double nBeforePlain = HeapBytes();
    PlainBuilder builder;
    Feed(document.m_Path, &builder, &PlainBuilder::Start, &PlainBuilder::End);
    const double nPlain = HeapBytes() - nBeforePlain;
    Report("memory per element, " + label + ": ours, plain tree", nOurs / nElements, nPlain / nElements,
           "bytes", 0.95);
}

void CompareTime(const Document& document, const std::string& label, int nRounds)
{
    const std::string& path = document.m_Path;
    const std::vector<double> times =
        LeastTimes(nRounds, {[&] { Ours(path); }, [&] { BareExpat(path); }, [&] { PlainTree(path); },
                             [&] { ThreeArrays(path); }});
    Report("ParseXMLFile, " + label + ": ours, bare expat", times[0] * 1e3, times[1] * 1e3, "ms", 1.7);
    Report("ParseXMLFile, " + label + ": ours, plain tree", times[0] * 1e3, times[2] * 1e3, "ms", 0.8);
    std::fprintf(g_pReport, "%-62s %9.3f           ms  ratio %.2f to bare expat, %.2f to the plain tree\n",
                 ("  bare expat and three arrays an attribute, " + label).c_str(), times[3] * 1e3,
                 times[3] / times[1], times[3] / times[2]);
}

/// What a byte of one long attribute costs, at 5 MB and at 20 MB, beside expat that is given the file at once.
void CompareGrowth(const std::string& path)
{
    constexpr std::size_t SHORTER = 5;
    constexpr std::size_t LONGER = 20;
    constexpr int MOST_HAND_OVERS = 40;
    std::vector<std::vector<double>> perMegabyte;
    for (const std::size_t nMegabytes : {SHORTER, LONGER}) {
        std::string text = "<root k='";
        text.append(nMegabytes * MEGABYTE, 'v').append("'/>");
        std::ofstream(path, std::ios::binary) << text;
        // As in a process of its own: large blocks come from the system at either size.
        const auto fresh = [] { mallopt(M_MMAP_THRESHOLD, 131072); };
        perMegabyte.push_back(
            LeastTimes(4, {[&] { fresh(), Ours(path); }, [&] { fresh(), ExpatAtOnce(text); }}));
        for (double& time : perMegabyte.back()) time *= 1e3 / static_cast<double>(nMegabytes);
    }
    Report("a long attribute, a megabyte of 20 and of 5: ours", perMegabyte[1][0], perMegabyte[0][0], "ms",
           1.25);
    Report("  the same: expat at once", perMegabyte[1][1], perMegabyte[0][1], "ms", 1.25);
    Report("  20 MB: ours, expat at once", perMegabyte[1][0], perMegabyte[1][1], "ms/MB", 4);
    g_nHandOvers = 0;
    Ours(path);
    std::fprintf(g_pReport, "%-62s %d hand-overs, at most %d%s\n", "  20 MB", g_nHandOvers, MOST_HAND_OVERS,
                 g_nHandOvers <= MOST_HAND_OVERS ? "" : "  MISSED");
}

/// Both lines of every run of character data, into a file and into nothing.
void CompareLines(const Document& document, const std::string& linesPath)
{
    const auto parseInto = [&document](const std::string& target) {
        SendStdoutTo(target);
        Ours(document.m_Path);
        std::fflush(stdout);
    };
    const std::vector<double> times =
        LeastTimes(20, {[&] { parseInto(linesPath); }, [&] { parseInto("/dev/null"); }});
    Report("ParseXMLFile, 1 MB with white space: lines to a file, to nothing", times[0] * 1e3, times[1] * 1e3,
           "ms", 1.25);
    SendStdoutTo("/dev/null");
}

// Lists

/// The same list read with a text per token, looked up by text.
void PlainList(const std::string& text, const std::map<std::string, int>& macros, std::vector<int>& out)
{
    out.clear();
    for (std::size_t nStart = 1; nStart < text.size();) {
        const std::size_t nEnd = text.find_first_of(",]", nStart);
        const std::string token = text.substr(nStart, nEnd - nStart);
        const auto macro = macros.find(token);
        out.push_back(macro == macros.end() ? std::atoi(token.c_str()) : macro->second);
        nStart = nEnd + 1;
    }
}

void CompareLists()
{
    constexpr int CALLS = 1000;
    constexpr int ITEMS = 100;
    SDXMLInterpreterMgr& mgr = *SDXMLInterpreterMgr::Instance();
    std::map<std::string, int> macros;
    std::string list = "[";
    for (int i = 0; i < ITEMS; ++i) {
        const std::string name = "A_MACRO_WITH_A_LONG_NAME_" + std::to_string(i);
        mgr.AddMacorValue(name, i);
        macros[name] = i;
        list += (i % 2 == 0 ? name : std::to_string(i * 1000)) + (i + 1 < ITEMS ? "," : "]");
    }
    std::vector<int> out;
    out.reserve(ITEMS);
    const std::size_t nBefore = g_nAllocations;
    long nSum = 0;
    for (int i = 0; i < CALLS; ++i) nSum += mgr.ParseInt("A_MACRO_WITH_A_LONG_NAME_7");
    const std::size_t nParseInt = g_nAllocations - nBefore;
    for (int i = 0; i < CALLS; ++i) mgr.ParseIntList(list.c_str(), out);
    const std::size_t nParseIntList = g_nAllocations - nBefore - nParseInt;
    if (nSum != 7L * CALLS || out.size() != ITEMS) std::abort();
    std::fprintf(g_pReport, "%-62s %zu allocations, at most 0%s\n", "ParseInt of a macro, 1000 calls",
                 nParseInt, nParseInt == 0 ? "" : "  MISSED");
    std::fprintf(g_pReport, "%-62s %zu allocations, at most 0%s\n", "ParseIntList of 100 items, 1000 calls",
                 nParseIntList, nParseIntList == 0 ? "" : "  MISSED");
    const std::vector<double> times = LeastTimes(
        2000, {[&] { mgr.ParseIntList(list.c_str(), out); }, [&] { PlainList(list, macros, out); }});
    Report("ParseIntList of 100 items: ours, a text per token", times[0] * 1e6, times[1] * 1e6, "us", 1.25);
}

}  // namespace

int main()
{
    g_pReport = fdopen(dup(STDOUT_FILENO), "w");
    std::setvbuf(g_pReport, nullptr, _IOLBF, BUFSIZ);
    SendStdoutTo("/dev/null");
    std::string folder = (std::filesystem::temp_directory_path() / "nbixmlXXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) return 1;
    auto* const pWeigher = new WeighingInterpreter;
    SDXMLInterpreterMgr::Instance()->RegisterInterpreter("doc.xml/counters", pWeigher);
    const std::string path = folder + "/doc.xml";
    for (const char* pColumn : {DESCRIBED, SHORT}) {
        const std::string values = pColumn == DESCRIBED ? "" : ", short values";
        const Document smaller = WriteDocument(path, MEGABYTE, pColumn, "");
        CompareTime(smaller, "1 MB" + values, 40);
        CompareMemory(smaller, "1 MB" + values, *pWeigher);
        const Document larger = WriteDocument(path, 20 * MEGABYTE, pColumn, "");
        CompareTime(larger, "20 MB" + values, 5);
        CompareMemory(larger, "20 MB" + values, *pWeigher);
    }
    CompareLines(WriteDocument(path, MEGABYTE, DESCRIBED, "\n    "), folder + "/lines");
    CompareGrowth(path);
    CompareLists();
    SDXMLInterpreterMgr::Destroy();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    return 0;
}
