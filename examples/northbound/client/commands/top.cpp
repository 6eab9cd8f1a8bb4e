#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <thread>

#include "client/commands/commands.h"
#include "client/commands/failure.h"
#include "client/corba/pages.h"
#include "client/texts/texts.h"
#include "client/view/clusterview.h"
#include "client/view/liveview.h"
#include "client/view/output.h"
#include "client/view/screen.h"
#include "client/view/topview.h"
#include "shared/names.h"

namespace northbound {
namespace {

constexpr int MILLISECONDS = 1000;  // between two screens

/// Keys come at once and unseen while it lives. Without a terminal there are none.
class Keyboard {
public:
    Keyboard() : m_bTerminal(tcgetattr(STDIN_FILENO, &m_Before) == 0)
    {
        if (!m_bTerminal) return;
        termios now = m_Before;
        now.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);  // signals go on as they were
        tcsetattr(STDIN_FILENO, TCSANOW, &now);
    }
    ~Keyboard()
    {
        if (m_bTerminal) tcsetattr(STDIN_FILENO, TCSANOW, &m_Before);
    }
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    /// \return whether the user wants to leave, asked for as long as a screen stands
    bool IsToLeave() const
    {
        pollfd input{m_bTerminal ? STDIN_FILENO : -1, POLLIN, 0};
        if (poll(&input, 1, MILLISECONDS) <= 0) return false;
        char key = 0;
        return read(STDIN_FILENO, &key, 1) != 1 || key == 'q' || key == 'Q';
    }

private:
    termios m_Before{};
    const bool m_bTerminal;
};

/// A server that does not answer is asked again; its last screen stays below the line that says so.
class Watch {
public:
    explicit Watch(const Session& session) : m_Session(session) {}

    /// \throws Northbound::OperationFailed
    void Look()
    {
        try {
            const Northbound::PoolReport_var report = Pools(m_Session);
            m_Tasks = AllTasks(m_Session);
            LookAtServers();
            m_View.Note(report.in());
            m_Problem.clear();
        } catch (const CORBA::SystemException& failure) {
            m_Problem = Say("{1} does not answer: {2}", {m_Session.Address(), Session::ReasonOf(failure)});
        } catch (const NoAnswer& failure) {
            m_Problem = failure.what();
        }
    }

    std::vector<std::string> Lines(std::size_t nColumns) const
    {
        std::vector<std::string> lines{Say("{1}; q ends", {m_Session.Address()})};
        if (!m_Problem.empty()) lines.push_back(m_Problem);
        for (std::string& line : m_View.Lines(m_Tasks.in(), nColumns)) lines.push_back(std::move(line));
        for (std::string& line : northbound::Lines(m_Servers.in(), nColumns)) {
            lines.push_back(std::move(line));
        }
        return lines;
    }

private:
    /// While their book is away they stay as they were last told.
    void LookAtServers()
    {
        try {
            m_Servers = AllServers(m_Session);
        } catch (const Northbound::OperationFailed& failure) {
            if (failure.code != ErrCode::BOOK_AWAY) throw;
        }
    }

    const Session& m_Session;
    TopView m_View;
    Northbound::HugeTaskList_var m_Tasks = new Northbound::HugeTaskList;
    Northbound::ServerList_var m_Servers = new Northbound::ServerList;
    std::string m_Problem;
};

}  // namespace

int WatchPools(const Session& session, const OutputOptions& output)
{
    if (output.m_bJson || !OutputScreen().IsTerminal()) return ShowPools(session, output);
    session.Ping();  // one that is not there from the beginning is a failure
    Watch watch(session);
    LiveView live;
    const Keyboard keyboard;
    do {
        watch.Look();
        const Screen screen = OutputScreen();
        std::cout << live.Draw(watch.Lines(screen.m_nColumns), screen);
    } while (FlushOutput() && !keyboard.IsToLeave());
    return EXIT_DONE;
}

}  // namespace northbound
