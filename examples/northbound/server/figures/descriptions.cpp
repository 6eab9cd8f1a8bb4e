#include "server/figures/descriptions.h"

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <list>
#include <utility>

#include "nbiutil/sdxmlinterpreter.h"

namespace northbound {
namespace {

using NS_UTIL::SDXMLInterpreter;
using NS_UTIL::SDXMLInterpreterMgr;
using NS_UTIL::XMLItem;
using NS_UTIL::XMLTag;

constexpr const char* TABLE_INTERPRETER = "table";
constexpr const char* INCLUDE = "include";
constexpr const char* FIGURE = "figure";
constexpr const char* END = "end";

SDXMLInterpreterMgr& Manager()
{
    return *SDXMLInterpreterMgr::Instance();
}

bool IsDigit(char c)
{
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

std::string Quoted(const std::string& text)
{
    return "\"" + text + "\"";
}

template <class Body>
void ForEachChild(const XMLTag& tag, Body body)
{
    if (tag.m_pChildren == nullptr) return;
    for (const XMLTag* pChild : *tag.m_pChildren) body(*pChild);
}

/// A file that is cut off parses up to the cut. So each ends with an element that says it is whole.
bool IsWhole(const XMLTag& root)
{
    return root.m_pChildren != nullptr && root.m_pChildren->back()->m_Name == END;
}

/// The attributes of one element. Whatever is wrong with them goes into the draft, under the element's name.
class Attributes {
public:
    Attributes(Draft& draft, std::string file, const XMLTag& tag)
        : m_Draft(draft), m_File(std::move(file)), m_Tag(tag)
    {
    }

    const char* Find(const std::string& name) const { return NS_UTIL::Attribute(m_Tag, name); }

    std::string Text(const std::string& name) const
    {
        const char* const pValue = Find(name);
        return pValue == nullptr ? "" : pValue;
    }

    std::string Required(const std::string& name)
    {
        std::string value = Text(name);
        if (value.empty()) Complain("there is no " + Quoted(name));
        return value;
    }

    void ExpectOnly(std::initializer_list<const char*> names)
    {
        for (const XMLItem* pItem : NS_UTIL::XMLItems(m_Tag)) {
            const std::string name = pItem->m_pName;
            if (std::find(names.begin(), names.end(), name) == names.end()) {
                Complain(Quoted(name) + " is no attribute of it");
            }
        }
    }

    void Complain(const std::string& text)
    {
        const std::string name = Text("name");
        const std::string label = name.empty() ? m_Tag.m_Name : m_Tag.m_Name + " name=" + Quoted(name);
        m_Draft.m_Problems.push_back({m_File, "<" + label + ">: " + text});
        m_bGood = false;
    }

    bool IsGood() const { return m_bGood; }

private:
    Draft& m_Draft;
    const std::string m_File;
    const XMLTag& m_Tag;
    bool m_bGood = true;
};

/// What <root> says about all figures of its table.
struct TableFrame {
    std::string m_Name;
    std::string m_File;
    std::list<int> m_Received;
    std::list<int> m_Sent;
    std::list<int> m_Brief;
};

bool Contains(const std::list<int>& numbers, std::size_t nColumn)
{
    return std::find(numbers.begin(), numbers.end(), static_cast<int>(nColumn)) != numbers.end();
}

/// 0 is what the list readers make of a name that is no macro's.
void ExpectColumns(Attributes& attributes, const char* pName, const std::list<int>& numbers)
{
    if (std::all_of(numbers.begin(), numbers.end(), [](int n) { return n > 0; })) return;
    attributes.Complain(std::string(pName) + " " + Quoted(attributes.Text(pName)) +
                        " has an entry that is no number from 1 and no macro");
}

TableFrame FrameOf(Attributes& root)
{
    root.ExpectOnly({"interpreter", "name", "file", "directions", "brief"});
    TableFrame frame;
    frame.m_Name = root.Required("name");
    frame.m_File = root.Text("file");
    Manager().ParseIntList(root.Find("brief"), frame.m_Brief);
    ExpectColumns(root, "brief", frame.m_Brief);
    std::list<std::list<int>> directions;
    Manager().ParseNestingList(root.Find("directions"), directions);
    for (const std::list<int>& direction : directions) ExpectColumns(root, "directions", direction);
    if (directions.size() == 2) {
        frame.m_Received = directions.front();
        frame.m_Sent = directions.back();
    } else if (!directions.empty()) {
        root.Complain("directions " + Quoted(root.Text("directions")) +
                      " has not two lists, of what was received and what was sent");
    }
    return frame;
}

bool IsName(const std::string& text)
{
    const auto isPart = [](unsigned char c) { return std::isalnum(c) != 0 || c == '_'; };
    return !text.empty() && !IsDigit(text[0]) && std::all_of(text.begin(), text.end(), isPart);
}

std::size_t ColumnNumberOf(Attributes& figure)
{
    const std::string text = figure.Text("column");
    if (text.empty()) return 0;
    const bool bPlain = !IsDigit(text[0]) || std::all_of(text.begin(), text.end(), IsDigit);
    const int nColumn = bPlain ? Manager().ParseInt(text.c_str()) : 0;
    if (nColumn > 0) return static_cast<std::size_t>(nColumn);
    figure.Complain("column " + Quoted(text) + " is no number from 1 and no macro");
    return 0;
}

Column ColumnOf(Attributes& figure, const TableFrame& frame)
{
    figure.ExpectOnly({"name", "column", "file", "title", "unit", "type"});
    Column column;
    column.m_Table = frame.m_Name;
    column.m_Name = figure.Required("name");
    if (!column.m_Name.empty() && !IsName(column.m_Name)) {
        figure.Complain("the name is not made of letters, digits and \"_\"");
    }
    column.m_Title = figure.Required("title");
    column.m_Unit = figure.Required("unit");
    const std::string type = figure.Required("type");
    column.m_bCounter = type == "counter";
    if (!type.empty() && type != "counter" && type != "gauge") {
        figure.Complain("type " + Quoted(type) + " is neither \"counter\" nor \"gauge\"");
    }
    column.m_nColumn = ColumnNumberOf(figure);
    column.m_File = figure.Find("file") == nullptr ? frame.m_File : figure.Text("file");
    if (column.m_File.compare(0, 1, "/") != 0) {
        figure.Complain("file " + Quoted(column.m_File) + ", here or of its <root>, is no absolute path");
    }
    if (Contains(frame.m_Received, column.m_nColumn)) column.m_Direction = "received";
    if (Contains(frame.m_Sent, column.m_nColumn)) column.m_Direction = "sent";
    column.m_bBrief = Contains(frame.m_Brief, column.m_nColumn);
    return column;
}

/// What all description files have in common: macros, includes, and an element that closes them.
class DescriptionInterpreter : public SDXMLInterpreter {
public:
    explicit DescriptionInterpreter(Draft& draft) : m_Draft(draft) {}

    int InterpretXMLTag(const XMLTag& root) final
    {
        const std::string file = Manager().getFileName();  // before the includes, which change it for good
        m_Draft.m_Interpreted.insert(file);
        if (!IsWhole(root)) {
            m_Draft.m_Problems.push_back({file, "does not end with <end/>: cut off, and left out"});
            return -1;
        }
        ForEachChild(root, [this](const XMLTag& child) { ExpectInclude(child); });
        SDXMLInterpreter::InterpretXMLTag(root);
        Describe(file, root);
        return 0;
    }

protected:
    void ExpectKnown(const std::string& file, const XMLTag& child) const
    {
        if (child.m_Name == "macro_desc" || child.m_Name == INCLUDE || child.m_Name == END) return;
        m_Draft.m_Problems.push_back({file, "<" + child.m_Name + "> is no element of it"});
    }

    Draft& m_Draft;

private:
    virtual void Describe(const std::string& file, const XMLTag& root) = 0;
    void ExpectInclude(const XMLTag& child);
};

/// An included file: a table of figures.
class TableInterpreter : public DescriptionInterpreter {
public:
    using DescriptionInterpreter::DescriptionInterpreter;

private:
    void Describe(const std::string& file, const XMLTag& root) override
    {
        Attributes attributes(m_Draft, file, root);
        const TableFrame frame = FrameOf(attributes);
        ForEachChild(root, [&](const XMLTag& child) {
            if (child.m_Name == FIGURE) {
                Add(Attributes(m_Draft, file, child), frame);
            } else {
                ExpectKnown(file, child);
            }
        });
    }

    void Add(Attributes figure, const TableFrame& frame)
    {
        Column column = ColumnOf(figure, frame);
        for (const Column& other : m_Draft.m_Columns) {
            if (other.m_Name == column.m_Name) {
                figure.Complain("the name is taken, in table " + Quoted(other.m_Table));
            }
        }
        if (figure.IsGood()) m_Draft.m_Columns.push_back(std::move(column));
    }
};

/// The main file: nothing of its own.
class MainInterpreter : public DescriptionInterpreter {
public:
    using DescriptionInterpreter::DescriptionInterpreter;

private:
    void Describe(const std::string& file, const XMLTag& root) override
    {
        ForEachChild(root, [&](const XMLTag& child) { ExpectKnown(file, child); });
    }
};

/// A new description file needs no line of code: whatever is included gets an interpreter under its name. The
/// manager does not delete one that is replaced, so an include that comes twice leaves the first in its
/// place.
void DescriptionInterpreter::ExpectInclude(const XMLTag& child)
{
    const NS_UTIL::XMLItems items(child);
    if (child.m_Name != INCLUDE || items.begin() == items.end()) return;
    const std::string path = (*items.begin())->m_pValue;
    const std::string name = FileNameOf(path);
    m_Draft.m_Paths.emplace(name, path);
    const std::string key = name + "/" + TABLE_INTERPRETER;
    if (Manager().GetInterpreter(key) == nullptr) {
        Manager().RegisterInterpreter(key, new TableInterpreter(m_Draft));
    }
}

}  // namespace

std::string FileNameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);  // npos + 1 is 0: the whole path
}

void RegisterMainFile(const std::string& path, Draft& draft)
{
    const std::string name = FileNameOf(path);
    draft.m_Paths.emplace(name, path);
    Manager().RegisterInterpreter(name, new MainInterpreter(draft));
}

}  // namespace northbound
