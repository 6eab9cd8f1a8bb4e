#include "client/commands/samplefile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <ctime>
#include <string_view>

#include "client/commands/inputerror.h"
#include "client/texts/texts.h"
#include "shared/descriptor.h"

namespace northbound {
namespace {

constexpr std::string_view TIME = "time";

[[noreturn]] void FailToRead(const std::string& path, const std::string& why)
{
    throw InputError(Say("{1} cannot be read: {2}", {path, why}));
}

/// What the file holds, closed again. A pipe, which may never end, is no file.
class SampleFile {
public:
    explicit SampleFile(const std::string& path)
        : m_Path(path), m_File(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY))
    {
        if (!m_File.IsOpen()) FailToRead(m_Path, std::strerror(errno));
    }

    std::string Text() const
    {
        struct stat status {};
        if (fstat(m_File.Number(), &status) != 0) FailToRead(m_Path, std::strerror(errno));
        if (!S_ISREG(status.st_mode)) FailToRead(m_Path, Say("it is no regular file"));
        if (static_cast<std::uint64_t>(status.st_size) > LONGEST_SAMPLE_FILE) {
            FailToRead(m_Path, Say("it is longer than {1} MiB", {std::to_string(LONGEST_SAMPLE_FILE >> 20)}));
        }
        std::string text(static_cast<std::size_t>(status.st_size), '\0');
        text.resize(ReadInto(text));
        return text;
    }

private:
    std::size_t ReadInto(std::string& text) const
    {
        std::size_t nDone = 0;
        while (nDone < text.size()) {
            const ssize_t nRead = read(m_File.Number(), text.data() + nDone, text.size() - nDone);
            if (nRead < 0 && errno == EINTR) continue;
            if (nRead < 0) FailToRead(m_Path, std::strerror(errno));
            if (nRead == 0) break;
            nDone += static_cast<std::size_t>(nRead);
        }
        return nDone;
    }

    const std::string& m_Path;
    const Descriptor m_File;
};

/// Cuts \p text at the first \p end, and gives what stood in front of it.
std::string_view TakeUpTo(char end, std::string_view& text)
{
    const std::size_t nAt = std::min(text.find(end), text.size());
    const std::string_view taken = text.substr(0, nAt);
    text.remove_prefix(std::min(nAt + 1, text.size()));
    return taken;
}

/// \return one cell more than \p nMost of a line that has more
std::vector<std::string_view> CellsOf(std::string_view line, std::size_t nMost)
{
    const auto nCommas = static_cast<std::size_t>(std::count(line.begin(), line.end(), ','));
    const std::size_t nCells = std::min(nCommas, nMost) + 1;
    std::vector<std::string_view> cells;
    cells.reserve(nCells);
    while (cells.size() < nCells) cells.push_back(TakeUpTo(',', line));
    return cells;
}

bool IsName(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(),
                                        [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; });
}

bool IsHeading(const std::vector<std::string_view>& cells)
{
    return cells.size() > 1 && cells.size() <= MOST_COLUMNS && cells[0] == TIME &&
           std::all_of(cells.begin(), cells.end(), IsName);
}

/// "2001-02-03T04:05:06.789Z" as seconds since 1970.
std::optional<double> TimeOf(std::string_view cell)
{
    const std::string text(cell);
    std::tm utc{};
    const char* const pRest = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &utc);
    unsigned int nMilliseconds = 0;
    if (pRest == nullptr || *pRest != '.' || std::strlen(pRest) != 5 || pRest[4] != 'Z') return std::nullopt;
    const auto [pEnd, error] = std::from_chars(pRest + 1, pRest + 4, nMilliseconds);
    if (error != std::errc() || pEnd != pRest + 4) return std::nullopt;
    return static_cast<double>(timegm(&utc)) + nMilliseconds / 1000.0;
}

/// \return whether the cell is empty or a number
bool ReadValue(std::string_view cell, std::optional<std::uint64_t>& value)
{
    value.reset();
    if (cell.empty()) return true;
    const char* const pEnd = cell.data() + cell.size();
    const auto [pRest, error] = std::from_chars(cell.data(), pEnd, value.emplace());
    return error == std::errc() && pRest == pEnd;
}

std::string Joined(const std::vector<std::string_view>& heading)
{
    std::string text;
    for (auto name = heading.begin() + 1; name != heading.end(); ++name) {
        text.append(text.empty() ? "" : ", ").append(*name);
    }
    return text;
}

std::vector<std::string> FiguresOfFirstUnit(const std::vector<std::string_view>& heading)
{
    const std::string unit = UnitOf(std::string(heading[1]));
    std::vector<std::string> figures;
    for (auto name = heading.begin() + 1; name != heading.end() && figures.size() < MOST_FIGURES; ++name) {
        if (UnitOf(std::string(*name)) == unit) figures.emplace_back(*name);
    }
    return figures;
}

/// Reads line after line into the columns that are wanted.
class Reader {
public:
    Reader(const std::string& path, std::string_view text) : m_Path(path), m_Text(text)
    {
        m_Text = m_Text.substr(0, m_Text.rfind('\n') + 1);  // a line that is being written is none yet
        m_Heading = CellsOf(TakeLine(), MOST_COLUMNS);
        if (!IsHeading(m_Heading)) FailAtLine();
    }

    void Want(std::vector<std::string> figures)
    {
        if (figures.empty()) figures = FiguresOfFirstUnit(m_Heading);
        if (figures.size() > MOST_FIGURES) {
            throw InputError(Say("at most {1} figures are drawn at once", {std::to_string(MOST_FIGURES)}));
        }
        for (std::string& figure : figures) {
            const auto found = std::find(m_Heading.begin() + 1, m_Heading.end(), figure);
            if (found == m_Heading.end()) {
                throw InputError(
                    Say("{1} has no figure \"{2}\"; it has {3}", {m_Path, figure, Joined(m_Heading)}));
            }
            m_Columns.push_back(static_cast<std::size_t>(found - m_Heading.begin()));
            m_Samples.m_Figures.push_back({std::move(figure), {}});
        }
    }

    Samples Read()
    {
        while (!m_Text.empty()) ReadLine();
        return std::move(m_Samples);
    }

private:
    std::string_view TakeLine()
    {
        ++m_nLine;
        return TakeUpTo('\n', m_Text);
    }

    void ReadLine()
    {
        const std::vector<std::string_view> cells = CellsOf(TakeLine(), m_Heading.size());
        const std::optional<double> time = TimeOf(cells[0]);
        if (cells.size() != m_Heading.size() || !time) FailAtLine();
        m_Samples.m_Times.push_back(*time);
        (m_Samples.m_First.empty() ? m_Samples.m_First : m_Samples.m_Last) = cells[0];
        for (std::size_t i = 0; i < m_Columns.size(); ++i) {
            std::optional<std::uint64_t> value;
            if (!ReadValue(cells[m_Columns[i]], value)) FailAtLine();
            m_Samples.m_Figures[i].m_Values.push_back(value);
        }
    }

    [[noreturn]] void FailAtLine() const
    {
        throw InputError(Say("{1} is no file of a collection: line {2}", {m_Path, std::to_string(m_nLine)}));
    }

    const std::string& m_Path;
    std::string_view m_Text;  // the rest
    std::size_t m_nLine = 0;
    std::vector<std::string_view> m_Heading;
    std::vector<std::size_t> m_Columns;  // of each figure
    Samples m_Samples;
};

}  // namespace

Samples ReadSamples(const std::string& path, const std::vector<std::string>& figures)
{
    const std::string text = SampleFile(path).Text();
    Reader reader(path, text);
    reader.Want(figures);
    return reader.Read();
}

}  // namespace northbound
