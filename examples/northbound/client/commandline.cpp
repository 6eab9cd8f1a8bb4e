#include "client/commandline.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "client/commands/login.h"
#include "client/commands/secrets.h"
#include "client/texts/texts.h"
#include "client/view/json.h"
#include "client/view/reasons.h"
#include "shared/configfile.h"
#include "shared/names.h"
#include "shared/version.h"

namespace northbound {
namespace {

constexpr const char* PROGRAM = "nbi-client";
constexpr const char* CHINESE = "zh";
constexpr double DAY = 86400;  // seconds

std::string DefaultUser()
{
    const char* const pUser = std::getenv("USER");
    return pUser == nullptr ? "-" : pUser;
}

std::string VersionAnswer(const OutputOptions& output)
{
    if (!output.m_bJson) return VersionText(PROGRAM);
    const Version version = ThisVersion();
    return JsonObject()
        .Text("program", PROGRAM)
        .Text("version", version.m_pNumber)
        .Text("commit", version.m_pCommit)
        .Text("built", version.m_pOptions)
        .Done();
}

void AddGeneral(CLI::App& app, CommandLine& line)
{
    line.m_User = DefaultUser();
    app.add_option("-s,--server", line.m_Servers,
                   Say("Server, as <host>:<port>, tls:<host>:<port> or unix:<path>; several with commas "
                       "between them (the "
                       "local one of the same user)"))
        ->delimiter(',')
        ->allow_extra_args(false);
    app.add_flag("--shuffle", line.m_bShuffle,
                 Say("Ask the servers in an order of chance, so that not all clients go to the first"));
    app.set_version_flag(
        "--version", [&line] { return VersionAnswer(line.m_Output); },
        Say("Print version, commit and how it was built"));
    app.add_option("-u,--user", line.m_User,
                   Say("On whose behalf; the server's log says it (your login name)"));
    app.add_option("--password-file", line.m_LogInWith,
                   Say("Holds the user's password; logs in at a server that knows no session of the user"))
        ->type_name("FILE");
    line.m_ConfigFile = ConfigFile("nbi-client.ini");
    app.add_option("-c,--config", line.m_ConfigFile,
                   Say("Configuration file (nbi-client.ini beside the program, then in /etc/nbiutil)"))
        ->type_name("FILE");
    app.add_option("-l,--lang", line.m_Language, Say("Language of all that the client says"))
        ->capture_default_str()
        ->check(CLI::IsMember({"en", CHINESE}));
    app.add_flag("--json", line.m_Output.m_bJson, Say("Print JSON, failures included"));
    app.add_option("-t,--timeout", line.m_Timeout,
                   Say("Seconds to wait for an answer, beside what a collection lasts"))
        ->capture_default_str()
        ->check(CLI::Range(0.1, DAY));
}

/// A subcommand without options of its own.
void AddPlain(CLI::App& app, CommandLine& line, const char* pName, const std::string& help,
              int (*command)(const Session&, const OutputOptions&))
{
    app.add_subcommand(pName, help)->callback([&line, command] {
        line.m_Command = [&line, command](const Session& session) { return command(session, line.m_Output); };
    });
}

void AddCounters(CLI::App& app, CommandLine& line)
{
    CLI::App* const pCommand = app.add_subcommand("counters", Say("Show one interface's counters"));
    pCommand->add_option("PORT", line.m_Port, Say("\"eth0\" or \"ne=<host>,port=eth0\""))->required();
    pCommand->callback([&line] {
        line.m_Command = [&line](const Session& session) {
            return ShowCounters(session, line.m_Output, line.m_Port);
        };
    });
}

void AddCollect(CLI::App& app, CommandLine& line)
{
    CLI::App* const pCommand = app.add_subcommand(
        "collect", Say("Sample interfaces' counters into files on the server, side by side"));
    pCommand->add_option("PORT", line.m_Collect.m_Ports, Say("As for counters; one collection for each"))
        ->required();
    pCommand->add_option("-i,--interval", line.m_Collect.m_Interval, Say("Seconds between two samples"))
        ->capture_default_str()
        ->check(CLI::Range(0.0, DAY));
    pCommand
        ->add_option("-d,--duration", line.m_Collect.m_Duration,
                     Say("Seconds from the first sample to the last"))
        ->capture_default_str()
        ->check(CLI::Range(0.0, DAY));
    pCommand
        ->add_option("-p,--pack", line.m_Collect.m_PackMethod,
                     Say("Pack the files that wait on the server afterwards"))
        ->check(CLI::IsMember({"gzip", "tar", "zip"}));
    pCommand
        ->add_option("--per-archive", line.m_Collect.m_nPerArchive,
                     Say("Files in one tar or zip archive; a rest waits (as many as there are PORTs)"))
        ->check(CLI::Range(1, 1000000));
    pCommand->add_flag("-q,--quiet", line.m_Collect.m_bQuiet, Say("No progress display"));
    pCommand->callback([&line] {
        line.m_Command = [&line](const Session& session) {
            return RunCollections(session, line.m_Output, line.m_Collect);
        };
    });
}

void AddPack(CLI::App& app, CommandLine& line)
{
    CLI::App* const pCommand =
        app.add_subcommand("pack", Say("Pack the files of finished collections that wait on the server"));
    pCommand->add_option("METHOD", line.m_Pack.m_Method, Say("gzip, tar or zip"))
        ->capture_default_str()
        ->check(CLI::IsMember({"gzip", "tar", "zip"}));
    pCommand
        ->add_option("--per-archive", line.m_Pack.m_nPerArchive,
                     Say("Files in one tar or zip archive; a rest waits"))
        ->capture_default_str()
        ->check(CLI::Range(1, 1000000));
    pCommand->callback([&line] {
        line.m_Command = [&line](const Session& session) {
            return PackFiles(session, line.m_Output, line.m_Pack);
        };
    });
}

void AddPlot(CLI::App& app, CommandLine& line)
{
    CLI::App* const pCommand = app.add_subcommand(
        "plot", Say("Draw the figures of a collection's file over time, without a server"));
    pCommand->add_option("FILE", line.m_Plot.m_File, Say("A collection's CSV file, also of one that runs"))
        ->required();
    pCommand
        ->add_option("-f,--figure", line.m_Plot.m_Figures,
                     Say("What to draw, several with commas between them (all of the first one's unit)"))
        ->delimiter(',')
        ->allow_extra_args(false);
    pCommand
        ->add_option("-o,--output", line.m_Plot.m_Picture,
                     Say("Have gnuplot draw a picture (SVG) into this file, in place of block characters"))
        ->type_name("FILE");
    pCommand->add_flag("--dark", line.m_Plot.m_bDark, Say("A picture on a dark ground"));
    pCommand->add_flag(
        "--values", line.m_Plot.m_bValues,
        Say("Values as they were read, for figures that go up and down, and not their growth"));
    pCommand->callback([&line] {
        line.m_CommandWithoutServer = [&line] {
            return PlotCollection(line.m_Output, line.m_Plot,
                                  std::chrono::milliseconds(std::llround(line.m_Timeout * 1000)));
        };
    });
}

void AddCancel(CLI::App& app, CommandLine& line)
{
    CLI::App* const pCommand = app.add_subcommand("cancel", Say("End a collection of one's own"));
    pCommand->add_option("OPERATION", line.m_Operation, Say("Its operation, as tasks lists it"))->required();
    pCommand->callback([&line] {
        line.m_Command = [&line](const Session& session) {
            return CancelCollection(session, line.m_Output, line.m_Operation);
        };
    });
}

void AddTasks(CLI::App& app, CommandLine& line)
{
    CLI::App* const pCommand = app.add_subcommand("tasks", Say("List the running huge tasks"));
    pCommand->add_flag("-w,--watch", line.m_Tasks.m_bWatch, Say("Show their progress until none is left"));
    pCommand->add_option("--at-least", line.m_Tasks.m_nAtLeast, Say("Wait until there are so many"));
    pCommand->callback([&line] {
        line.m_Command = [&line](const Session& session) {
            return ShowTasks(session, line.m_Output, line.m_Tasks);
        };
    });
}

void AddFetch(CLI::App& app, CommandLine& line)
{
    CLI::App* const pCommand = app.add_subcommand(
        "fetch", Say("Bring the parts of a collection that has ended together into one file"));
    pCommand->add_option("OPERATION", line.m_Fetch.m_Operation, Say("Its operation, as collect tells it"))
        ->required();
    pCommand->add_option("FILE", line.m_Fetch.m_File, Say("The file to make (OPERATION.csv in this folder)"));
    pCommand->callback([&line] {
        line.m_Command = [&line](const Session& session) {
            return FetchCollection(session, line.m_Output, line.m_Fetch);
        };
    });
}

void AddConfig(CLI::App& app, CommandLine& line)
{
    CLI::App* const pCommand = app.add_subcommand("config", Say("Look after the server's configuration"));
    pCommand->require_subcommand(1);
    CLI::App* const pSet =
        pCommand->add_subcommand("set", Say("Change an item that stands in the configuration file"));
    pSet->add_option("KEY", line.m_Config.m_Key, Say("The item's name"))->required();
    pSet->add_option("VALUE", line.m_Config.m_Value, Say("Its new value"))->required();
    pSet->callback([&line] {
        line.m_Command = [&line](const Session& session) {
            return SetItem(session, line.m_Output, line.m_Config);
        };
    });
}

void AddPasswordFile(CLI::App& command, CommandLine& line)
{
    command.add_option("FILE", line.m_PasswordFile, Say("Holds the password; - is standard input"))
        ->capture_default_str();
}

void AddLogin(CLI::App& app, CommandLine& line)
{
    CLI::App* const pCommand =
        app.add_subcommand("login", Say("Log the user in; the password travels encrypted"));
    AddPasswordFile(*pCommand, line);
    pCommand->callback([&line] {
        line.m_Command = [&line](const Session& session) {
            return LogIn(session, line.m_Output, line.m_PasswordFile);
        };
    });
}

void AddPasswordItem(CLI::App& app, CommandLine& line)
{
    CLI::App* const pCommand = app.add_subcommand(
        "password-item", Say("Print the line of the server's configuration that lets the user log in"));
    AddPasswordFile(*pCommand, line);
    pCommand->callback([&line] {
        line.m_CommandWithoutServer = [&line] {
            return ShowPasswordItem(line.m_Output, line.m_User, line.m_PasswordFile);
        };
    });
}

void AddSendSecret(CLI::App& app, CommandLine& line)
{
    CLI::App* const pCommand = app.add_subcommand(
        "send-secret", Say("Send a secret that was encrypted with the server's public key (OAEP, SHA-1)"));
    pCommand
        ->add_option("FILE", line.m_Secret.m_File,
                     Say("Hexadecimal text of the encrypted secret; - is standard input"))
        ->capture_default_str();
    pCommand->add_flag("-e,--encrypt", line.m_Secret.m_bEncrypt,
                       Say("FILE holds the secret itself; encrypt it here"));
    pCommand->callback([&line] {
        line.m_Command = [&line](const Session& session) {
            return SendSecret(session, line.m_Output, line.m_Secret);
        };
    });
}

void AddReason(CLI::App& app, CommandLine& line)
{
    CLI::App* const pCommand =
        app.add_subcommand("reason", Say("Tell what a failure's code means, without a server"));
    pCommand->add_option("CODE", line.m_Code, Say("Decimal, or hexadecimal after 0x"))
        ->required()
        ->check([](const std::string& text) {
            return ParseCode(text) ? "" : Say("\"{1}\" is no code of 32 bits, decimal or after 0x", {text});
        });
    pCommand->callback([&line] {
        line.m_CommandWithoutServer = [&line] { return ShowReason(line.m_Output, *ParseCode(line.m_Code)); };
    });
}

/// What counts for the answer to a command line that makes no sense, or asks for help, wherever it stands.
void ReadHowToAnswer(int nArgs, char** pArgs, CommandLine& line)
{
    CLI::App early;
    early.set_help_flag();
    early.allow_extras();
    early.add_flag("--json", line.m_Output.m_bJson);
    early.add_option("-l,--lang", line.m_Language);
    try {
        early.parse(nArgs, pArgs);
    } catch (const CLI::ParseError&) {
        // The whole description tells what is wrong.
    }
    SpeakChinese(line.m_Language == CHINESE);
    line.m_Language =
        CommandLine().m_Language;  // the whole description reads it again, and shows the default
}

/// The text for --help or --version that \p asked for.
void Answer(const CLI::App& app, const CLI::ParseError& asked, const OutputOptions& output)
{
    std::ostringstream text;
    app.exit(asked, text);
    if (output.m_bJson && dynamic_cast<const CLI::CallForVersion*>(&asked) == nullptr) {
        ReportDone(output, JsonObject().Text("help", text.str()).Done(), "");
    } else {
        std::cout << text.str();
    }
}

/// Before anything is described: the words that the parser has itself.
void UseLanguage(CLI::App& app)
{
    app.set_help_flag("-h,--help", Say("Print this help message and exit"));
    app.get_formatter()->label("Usage", Say("Usage"));
    app.get_formatter()->label("OPTIONS", Say("OPTIONS"));
    app.get_formatter()->label("SUBCOMMAND", Say("SUBCOMMAND"));
    app.get_formatter()->label("Positionals", Say("Positionals"));
    app.get_formatter()->label("REQUIRED", Say("REQUIRED"));
}

/// After all is described: the headings above options and subcommands.
void NameGroups(CLI::App& app)
{
    for (CLI::Option* const pOption : app.get_options()) pOption->group(Say("Options"));
    for (CLI::App* const pCommand : app.get_subcommands({})) {
        pCommand->group(Say("Subcommands"));
        NameGroups(*pCommand);
    }
}

}  // namespace

void Describe(CLI::App& app, CommandLine& line)
{
    app.name(PROGRAM);
    app.description(Say("Asks the northbound server about its machine"));
    UseLanguage(app);
    app.fallthrough();  // before the subcommands, which inherit it: general options may stand behind them
    AddGeneral(app, line);
    AddPlain(app, line, "inventory", Say("List the machine's network interfaces"), ShowInventory);
    AddCounters(app, line);
    AddCollect(app, line);
    AddCancel(app, line);
    AddTasks(app, line);
    AddPlain(app, line, "cluster",
             Say("List the servers that share a book, and the orders that have not ended"), ShowCluster);
    AddFetch(app, line);
    AddPlain(app, line, "pools", Say("Show what the server's worker pools do"), ShowPools);
    AddPlain(app, line, "top", Say("Watch pools and collections on one screen; q ends"), WatchPools);
    AddPlain(app, line, "doctor", Say("Say what looks wrong with the pools; 1 when something does"),
             Diagnose);
    AddPlain(app, line, "files", Say("List the files of collections, and how old they are"), ShowFiles);
    AddPlot(app, line);
    AddPack(app, line);
    AddPlain(app, line, "clean", Say("Remove the files that the server keeps no longer"), CleanFiles);
    AddConfig(app, line);
    AddLogin(app, line);
    AddPlain(app, line, "logout", Say("End the user's session"), LogOut);
    AddPlain(app, line, "sessions", Say("List the users that have logged in"), ShowSessions);
    AddPasswordItem(app, line);
    AddPlain(app, line, "stop", Say("Stop the server in order, and wait until it is gone"), StopServer);
    AddPlain(app, line, "pubkey", Say("Print the server's public key as PEM, for secrets"), ShowPublicKey);
    AddSendSecret(app, line);
    AddReason(app, line);
    app.require_subcommand(1);
    app.footer(
        Say("Exit codes: 0 done, 1 refused, not in time or no such reason, 2 bad command line or\n"
            "configuration, 3 no answer from a server, 4 a part of a collection is missing."));
    NameGroups(app);
}

std::optional<int> Parse(int nArgs, char** pArgs, CommandLine& line)
{
    ReadHowToAnswer(nArgs, pArgs, line);
    CLI::App app;
    Describe(app, line);
    try {
        app.parse(nArgs, pArgs);
        return std::nullopt;
    } catch (const CLI::Success& e) {
        Answer(app, e, line.m_Output);
        return EXIT_DONE;
    } catch (const CLI::ParseError& e) {
        const std::string fault = Translated(e.what());
        const std::string text = line.m_Output.m_bJson ? fault : Say("{1}; --help tells more", {fault});
        return ReportFailure(line.m_Output, Failure{"usage", EXIT_BAD_USAGE, text, {}, ""});
    }
}

}  // namespace northbound
