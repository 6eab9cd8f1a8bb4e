#include "server/commandline.h"

#include <CLI/CLI.hpp>

#include "shared/configfile.h"
#include "shared/version.h"

namespace northbound {

void Describe(CLI::App& app, CommandLine& line)
{
    app.name("nbi-server");
    app.description(
        "Northbound server of this machine: inventory, counters and performance collections over CORBA");
    app.set_version_flag("--version", VersionText("nbi-server"),
                         "Print version, commit and how it was built");
    line.m_ConfigFile = ConfigFile("nbi-server.ini");
    app.add_option("-c,--config", line.m_ConfigFile,
                   "Configuration file (nbi-server.ini beside the program, then in /etc/nbiutil)")
        ->type_name("FILE");
    app.add_option("--listen", line.m_ListenAddress, "Address to serve on by TCP (ListenAddress; 127.0.0.1)");
    app.add_option("--port", line.m_ListenPort,
                   "Port to serve on by TCP, 0 for any free one (ListenPort; 12809)")
        ->check(CLI::Range(0, 65535));
    app.add_option("--ready-file", line.m_ReadyFile, "Written with the address once requests are served")
        ->type_name("FILE");
    app.add_option("--migrate", line.m_Migrate,
                   "Bring the schema of a shared book to this version in the database that a text of libpq "
                   "names, and end")
        ->type_name("TEXT");
    app.footer(
        "Without an address or port, here or in the configuration, clients of the same user alone are "
        "served,\n"
        "through a socket in a folder of that user.\n"
        "Exit codes: 0 stopped in order or migrated, 1 unforeseen failure, 2 bad command line or "
        "configuration,\n"
        "or a database that refuses, 3 cannot listen on the address or reach the database.");
}

std::optional<int> Parse(int nArgs, char** pArgs, CommandLine& line)
{
    CLI::App app;
    Describe(app, line);
    try {
        app.parse(nArgs, pArgs);
        return std::nullopt;
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? EXIT_ORDERLY : EXIT_BAD_INPUT;
    }
}

}  // namespace northbound
