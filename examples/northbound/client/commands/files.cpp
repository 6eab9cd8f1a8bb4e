#include <iostream>

#include "client/commands/commands.h"
#include "client/corba/pages.h"
#include "client/texts/texts.h"
#include "client/view/format.h"
#include "client/view/json.h"

namespace northbound {

int ShowFiles(const Session& session, const OutputOptions& output)
{
    const Northbound::StoredFileList_var files = AllFiles(session);
    if (output.m_bJson) {
        std::cout << ToJson(files.in()) << '\n';
    } else {
        Print(files.in());
    }
    return EXIT_DONE;
}

int PackFiles(const Session& session, const OutputOptions& output, const PackOptions& options)
{
    session.Settle();
    Northbound::PackOrder work;
    work.method = options.m_Method.c_str();
    work.perArchive = options.m_nPerArchive;
    const Northbound::PackResult_var packed = session.Server()->Pack(session.Who(), work);
    if (output.m_bJson) {
        std::cout << ToJson(packed.in()) << '\n';
    } else {
        Print(packed.in());
    }
    return EXIT_DONE;
}

int CleanFiles(const Session& session, const OutputOptions& output)
{
    session.Settle();
    const Northbound::CleanResult cleaned = session.Server()->Clean(session.Who());
    return ReportDone(output,
                      JsonObject().Number("files", cleaned.files).Number("bytes", cleaned.bytes).Done(),
                      Say("{1} files of {2} bytes were removed",
                          {std::to_string(cleaned.files), std::to_string(cleaned.bytes)}));
}

}  // namespace northbound
