#include <iostream>
#include <thread>

#include "client/commands/commands.h"
#include "client/commands/report.h"
#include "client/commands/waiting.h"
#include "client/view/format.h"
#include "client/view/progressview.h"

namespace northbound {
namespace {

int WatchTasks(const Session& session)
{
    ProgressView view;
    for (;;) {
        const Northbound::HugeTaskList_var tasks = session.Server()->HugeTasks(session.Who());
        view.Show(tasks);
        if (tasks->length() == 0) return EXIT_DONE;
        std::this_thread::sleep_for(POLL);
    }
}

}  // namespace

int ShowTasks(const Session& session, const OutputOptions& output, const TasksOptions& options)
{
    Northbound::HugeTaskList_var tasks;
    const bool bEnough = WaitFor(session, [&] {
        tasks = session.Server()->HugeTasks(session.Who());
        return tasks->length() >= options.m_nAtLeast;
    });
    if (!bEnough) {
        return ReportTooLate(output, "there are no " + std::to_string(options.m_nAtLeast) + " huge tasks");
    }
    if (options.m_bWatch) return WatchTasks(session);
    if (output.m_bJson) {
        std::cout << ToJson(tasks.in()) << '\n';
    } else {
        Print(tasks.in());
    }
    return EXIT_DONE;
}

}  // namespace northbound
