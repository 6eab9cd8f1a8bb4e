#include "commandlinemodel.h"

#include <CLI/CLI.hpp>
#include <regex>

namespace manual {
namespace {

/// The checks stand behind the type: "TEXT:{en,zh}", "INT:INT in [0 - 65535]".
void TakeChecks(const std::string& typeName, OptionModel& option)
{
    static const std::regex range(R"(in \[([^\]]*)\])");
    static const std::regex choices(R"(\{([^}]*)\})");
    std::smatch found;
    if (std::regex_search(typeName, found, range)) option.m_Range = found[1];
    if (std::regex_search(typeName, found, choices)) option.m_Choices = CLI::detail::split(found[1], ',');
}

OptionModel ModelOf(const CLI::Option& described)
{
    OptionModel option;
    for (const std::string& name : described.get_snames()) option.m_Names.push_back("-" + name);
    for (const std::string& name : described.get_lnames()) option.m_Names.push_back("--" + name);
    if (described.get_positional()) option.m_Names = {described.get_name(true)};
    option.m_Description = described.get_description();
    option.m_Default = described.get_default_str();
    option.m_bRequired = described.get_required();
    option.m_bSeveral = described.get_items_expected_max() > 1;
    if (described.get_items_expected_max() > 0) {
        const std::string typeName = described.get_type_name();
        option.m_Value =
            described.get_positional() ? option.m_Names[0] : typeName.substr(0, typeName.find(':'));
        TakeChecks(typeName, option);
    }
    return option;
}

void Append(std::vector<CommandModel>& commands, const CLI::App& app, const std::string& name)
{
    CommandModel command;
    command.m_Name = name;
    command.m_Description = app.get_description();
    for (const CLI::Option* pOption : app.get_options()) {
        (pOption->get_positional() ? command.m_Arguments : command.m_Options).push_back(ModelOf(*pOption));
    }
    const std::vector<const CLI::App*> below = app.get_subcommands([](const CLI::App*) { return true; });
    for (const CLI::App* pBelow : below) command.m_Commands.push_back(pBelow->get_name());
    commands.push_back(std::move(command));
    for (const CLI::App* pBelow : below) {
        Append(commands, *pBelow, name + (name.empty() ? "" : " ") + pBelow->get_name());
    }
}

}  // namespace

ProgramModel ModelOf(const std::function<void(CLI::App&)>& describe)
{
    CLI::App app;
    describe(app);
    ProgramModel program{app.get_name(), {}};
    Append(program.m_Commands, app, "");
    return program;
}

}  // namespace manual
