#include "client/commands/login.h"

#include <iostream>
#include <vector>

#include "client/commands/secrets.h"
#include "client/view/format.h"
#include "client/view/json.h"
#include "client/view/table.h"
#include "shared/passworddigest.h"

namespace northbound {

int LogIn(const Session& session, const OutputOptions& output, const std::string& file)
{
    const std::string cipher = EncryptedSecret(session, file);
    session.Server()->Login(session.Who(), cipher.c_str());
    const std::string user = session.Who().user.in();
    std::cout << (output.m_bJson ? JsonObject().Text("loggedIn", user).Done()
                                 : Printable(user) + " is logged in")
              << '\n';
    return EXIT_DONE;
}

int ShowSessions(const Session& session, const OutputOptions& output)
{
    const Northbound::UserSessionList_var sessions = session.Server()->Sessions(session.Who());
    std::vector<std::string> items;
    Table table({{"USER"}, {"SINCE"}, {"FROM"}});
    for (CORBA::ULong i = 0; i < sessions->length(); ++i) {
        const Northbound::UserSession& one = sessions.in()[i];
        items.push_back(JsonObject()
                            .Text("user", one.user.in())
                            .Text("since", one.since.in())
                            .Text("address", one.address.in())
                            .Done());
        table.Add({Printable(one.user.in()), Printable(one.since.in()), Printable(one.address.in())});
    }
    if (output.m_bJson) {
        std::cout << JsonArray(items) << '\n';
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
    std::cout << (output.m_bJson ? JsonObject().Text("key", key).Text("value", digest).Done()
                                 : key + " = " + digest)
              << '\n';
    return EXIT_DONE;
}

}  // namespace northbound
