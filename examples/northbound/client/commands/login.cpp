#include "client/commands/login.h"

#include <iostream>
#include <vector>

#include "client/commands/keyfile.h"
#include "client/commands/secrets.h"
#include "client/corba/pages.h"
#include "client/texts/texts.h"
#include "client/view/format.h"
#include "client/view/json.h"
#include "client/view/table.h"
#include "shared/passworddigest.h"

namespace northbound {

std::string OpenSession(const Session& session, const std::string& file)
{
    const std::string cipher = EncryptedLogin(session, file);
    const CORBA::String_var key = session.Server()->Login(session.Who(), cipher.c_str());
    KeyFile(session.Address(), session.Who().user.in()).Write(key.in());
    return key.in();
}

int LogIn(const Session& session, const OutputOptions& output, const std::string& file)
{
    session.Settle();
    OpenSession(session, file);
    const std::string user = session.Who().user.in();
    return ReportDone(output, JsonObject().Text("loggedIn", user).Done(),
                      Say("{1} is logged in", {Printable(user)}));
}

int LogOut(const Session& session, const OutputOptions& output)
{
    session.Settle();
    const std::string user = session.Who().user.in();
    const KeyFile file(session.Address(), user);
    try {
        session.Server()->Logout(session.Who());
    } catch (const Northbound::OperationFailed&) {
        file.Remove();  // the server knows nothing of the key that is in it
        throw;
    }
    file.Remove();
    return ReportDone(output, JsonObject().Text("loggedOut", user).Done(),
                      Say("{1} is logged out", {Printable(user)}));
}

int ShowSessions(const Session& session, const OutputOptions& output)
{
    const Northbound::UserSessionList_var sessions = AllSessions(session);
    std::vector<std::string> items;
    Table table({{Say("USER")}, {Say("ROLE")}, {Say("SINCE")}, {Say("FROM")}});
    for (CORBA::ULong i = 0; i < sessions->length(); ++i) {
        const Northbound::UserSession& one = sessions.in()[i];
        items.push_back(JsonObject()
                            .Text("user", one.user.in())
                            .Text("role", one.role.in())
                            .Text("since", one.since.in())
                            .Text("address", one.address.in())
                            .Done());
        table.Add({Printable(one.user.in()), Printable(one.role.in()), Printable(one.since.in()),
                   Printable(one.address.in())});
    }
    if (output.m_bJson) {
        std::cout << JsonObject().Raw("sessions", JsonArray(items)).Done() << '\n';
    } else {
        table.Print(std::cout);
    }
    return EXIT_DONE;
}

int ShowPasswordItem(const OutputOptions& output, const std::string& user, const std::string& file)
{
    NS_UTIL::AutoReleaseString password;
    ReadSecret(password, file);
    const std::string key = "Password_" + user;
    const std::string digest = PasswordDigest(user, password.getBuffer(), password.length());
    return ReportDone(output, JsonObject().Text("key", key).Text("value", digest).Done(),
                      key + " = " + digest);
}

}  // namespace northbound
