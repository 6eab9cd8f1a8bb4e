#include <iostream>
#include <thread>

#include "client/commands/commands.h"
#include "client/commands/report.h"
#include "client/commands/waiting.h"
#include "client/corba/pages.h"
#include "client/texts/texts.h"
#include "client/view/format.h"
#include "client/view/output.h"
#include "client/view/progressview.h"

namespace northbound {
namespace {

/// Ends early when nobody can see it any more.
int WatchTasks(const Session& session, const OutputOptions& output)
{
    ProgressView view(output.m_bJson);
    for (;; std::this_thread::sleep_for(POLL)) {
        const Northbound::HugeTaskList_var tasks = AllTasks(session);
        view.Show(tasks);
        if (tasks->length() == 0 || !FlushOutput()) return EXIT_DONE;
    }
}

}  // namespace

int ShowTasks(const Session& session, const OutputOptions& output, const TasksOptions& options)
{
    Northbound::HugeTaskList_var tasks;
    const bool bEnough = WaitFor(session, [&] {
        tasks = AllTasks(session);
        return tasks->length() >= options.m_nAtLeast;
    });
    if (!bEnough) {
        return ReportFailure(output, TooLate(session, Say("there are no {1} huge tasks",
                                                          {std::to_string(options.m_nAtLeast)})));
    }
    if (options.m_bWatch) return WatchTasks(session, output);
    if (output.m_bJson) {
        std::cout << ToJson(tasks.in()) << '\n';
    } else {
        Print(tasks.in());
    }
    return EXIT_DONE;
}

}  // namespace northbound
