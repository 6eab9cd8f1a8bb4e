#include "northbound/programs/fakeserver.h"

#include <omniORB4/CORBA.h>
#include <openssl/evp.h>
#include <openssl/rsa.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>

#include "shared/localsocket.h"
#include "shared/names.h"
#include "support/eventually.h"

namespace northbound {
namespace {

[[noreturn]] void Refuse(unsigned int nCode)
{
    throw Northbound::OperationFailed(nCode, "the fake server refuses");
}

[[noreturn]] void NotHere()
{
    throw CORBA::NO_IMPLEMENT();
}

/// PKCS#1 in DER.
Northbound::Bytes* FreshKey()
{
    const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> pKey(EVP_RSA_gen(2048), &EVP_PKEY_free);
    unsigned char* pDer = nullptr;
    const int nBytes = i2d_PublicKey(pKey.get(), &pDer);
    auto* const pBytes = new Northbound::Bytes(static_cast<CORBA::ULong>(nBytes));
    pBytes->length(static_cast<CORBA::ULong>(nBytes));
    std::memcpy(pBytes->get_buffer(), pDer, static_cast<std::size_t>(nBytes));
    OPENSSL_free(pDer);
    return pBytes;
}

class FakeManager final : public POA_Northbound::Manager {
public:
    FakeManager(const FakeAnswers& answers, std::string calls) : m_Answers(answers), m_Calls(std::move(calls))
    {
    }

    CORBA::Boolean Order(const Northbound::Caller& who, const char* pOperation,
                         const Northbound::CollectionOrder& /*work*/) override
    {
        Note(who, std::string("order ") + pOperation);
        return m_Answers.m_Order();
    }
    Northbound::OrderState* Await(const Northbound::Caller& who, const char* pOperation,
                                  CORBA::ULong /*nLimit*/) override
    {
        Note(who, std::string("await ") + pOperation);
        std::lock_guard<std::mutex> guard(m_Mutex);
        return new Northbound::OrderState(m_Answers.m_Await(pOperation, m_Asked[pOperation]++));
    }
    void Cancel(const Northbound::Caller& who, const char* pOperation) override
    {
        Note(who, std::string("cancel ") + pOperation);
    }
    Northbound::OpenOrderPage* Orders(const Northbound::Caller& /*who*/, const char* /*pAfter*/) override
    {
        Northbound::OpenOrderPage_var page = new Northbound::OpenOrderPage;
        page->orders = m_Answers.m_Orders;
        return page._retn();
    }
    Northbound::ServerPage* Servers(const Northbound::Caller& who, const char* /*pAfter*/) override
    {
        Note(who, "servers");
        Northbound::ServerPage_var page = new Northbound::ServerPage;
        page->servers = m_Answers.m_Servers;
        return page._retn();
    }
    Northbound::PartPiece* Fetch(const Northbound::Caller& who, const char* /*pOperation*/,
                                 CORBA::ULong nFirst, CORBA::ULongLong nOffset) override
    {
        Note(who, "fetch " + std::to_string(nFirst) + " " + std::to_string(nOffset));
        return new Northbound::PartPiece(m_Answers.m_Fetch(nFirst, nOffset));
    }
    Northbound::Bytes* PublicKey(const Northbound::Caller& /*who*/) override { return FreshKey(); }
    char* Challenge(const Northbound::Caller& /*who*/) override { return CORBA::string_dup("0123456789"); }
    char* Login(const Northbound::Caller& /*who*/, const char* /*pCipher*/) override
    {
        Write("login");
        return CORBA::string_dup(m_Answers.m_Key.c_str());
    }

    Northbound::PortPage* Inventory(const Northbound::Caller&, const char*, CORBA::ULong) override
    {
        NotHere();
    }
    Northbound::ColumnList* Columns(const Northbound::Caller&) override { NotHere(); }
    Northbound::Reading* ReadCounters(const Northbound::Caller&, const char*) override { NotHere(); }
    Northbound::CollectionResult* Collect(const Northbound::Caller&,
                                          const Northbound::CollectionOrder&) override
    {
        NotHere();
    }
    Northbound::PackResult* Pack(const Northbound::Caller&, const Northbound::PackOrder&) override
    {
        NotHere();
    }
    Northbound::StoredFilePage* Files(const Northbound::Caller&, const char*) override { NotHere(); }
    Northbound::CleanResult Clean(const Northbound::Caller&) override { NotHere(); }
    CORBA::Boolean SetItem(const Northbound::Caller&, const char*, const char*) override { NotHere(); }
    Northbound::HugeTaskPage* HugeTasks(const Northbound::Caller&, const char*) override { NotHere(); }
    CORBA::ULong SendSecret(const Northbound::Caller&, const char*) override { NotHere(); }
    void Logout(const Northbound::Caller&) override { NotHere(); }
    Northbound::UserSessionPage* Sessions(const Northbound::Caller&, const char*) override { NotHere(); }
    void Stop(const Northbound::Caller&) override { NotHere(); }
    Northbound::PoolReport* Pools(const Northbound::Caller&) override { NotHere(); }

private:
    void Write(const std::string& line)
    {
        std::lock_guard<std::mutex> guard(m_Mutex);
        std::ofstream(m_Calls, std::ios::app) << line << std::endl;
    }

    void Note(const Northbound::Caller& who, const std::string& line)
    {
        Write(line);
        if (m_Answers.m_Key != who.key.in()) Refuse(ErrCode::NOT_LOGGED_IN);
    }

    const FakeAnswers& m_Answers;
    const std::string m_Calls;
    std::mutex m_Mutex;
    std::map<std::string, int> m_Asked;  // guarded by m_Mutex
};

}  // namespace

FakeServer::FakeServer(const nbitest::TestDirectory& directory, const std::string& name,
                       const FakeAnswers& answers)
    : m_Path(directory / name)
{
    const std::string ready = m_Path + ".ready";
    unlink(ready.c_str());  // of one before it
    const pid_t nTest = getpid();
    m_nPid = fork();
    if (m_nPid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() == nTest) Serve(answers);
        _exit(1);
    }
    if (!nbitest::Eventually([&] { return nbitest::Exists(ready); })) throw std::runtime_error("no server");
}

FakeServer::~FakeServer()
{
    Kill();
}

std::string FakeServer::AddressOf(const nbitest::TestDirectory& directory, const std::string& name)
{
    return SOCKET_SCHEME + directory / name;
}

void FakeServer::Serve(const FakeAnswers& answers) const
{
    const std::string place = "giop:unix:" + m_Path;
    const char* options[][2] = {{"endPoint", place.c_str()}, {"traceLevel", "0"}, {nullptr, nullptr}};
    int nArgs = 0;
    const CORBA::ORB_var orb = CORBA::ORB_init(nArgs, nullptr, "omniORB4", options);
    const CORBA::Object_var object = orb->resolve_initial_references("omniINSPOA");
    const PortableServer::POA_var adapter = PortableServer::POA::_narrow(object);
    auto* const pManager = new FakeManager(answers, m_Path + ".calls");
    const PortableServer::ObjectId_var id = PortableServer::string_to_ObjectId(OBJECT_KEY);
    adapter->activate_object_with_id(id.in(), pManager);
    PortableServer::POAManager_var(adapter->the_POAManager())->activate();
    nbitest::WriteFile(m_Path + ".ready", "");
    orb->run();
}

void FakeServer::Kill()
{
    if (m_nPid < 0) return;
    kill(m_nPid, SIGKILL);
    waitpid(m_nPid, nullptr, 0);
    m_nPid = -1;
}

std::string FakeServer::Calls() const
{
    return nbitest::ReadFile(m_Path + ".calls");
}

void Die()
{
    kill(getpid(), SIGKILL);
    Hang();
}

void Hang()
{
    for (;;) pause();
}

Northbound::ServerList BookOf(const nbitest::TestDirectory& directory, const std::vector<std::string>& names)
{
    Northbound::ServerList servers;
    servers.length(static_cast<CORBA::ULong>(names.size()));
    for (CORBA::ULong i = 0; i < servers.length(); ++i) {
        servers[i].name = names[i].c_str();
        servers[i].address = FakeServer::AddressOf(directory, names[i]).c_str();
        servers[i].version = "1.0";
        servers[i].load = i;
        servers[i].lease = 6000;
    }
    return servers;
}

Northbound::OrderState RunningState()
{
    Northbound::OrderState state;
    state.phase = "running";
    state.dn = "ne=here,port=eth0";
    state.samplesTaken = 1;
    state.samplesPlanned = 3;
    state.code = 0;
    state.result.samples = 0;
    state.result.late = 0;
    return state;
}

Northbound::OrderState EndedState(const std::string& operation)
{
    Northbound::OrderState state = RunningState();
    state.phase = "ended";
    state.samplesTaken = state.samplesPlanned;
    state.result.dn = state.dn;
    state.result.operation = operation.c_str();
    state.result.file = "/there/perf.csv";
    state.result.samples = state.samplesPlanned;
    return state;
}

void AddPart(Northbound::OrderState& state, const std::string& server, unsigned int nFirst,
             unsigned int nSamples)
{
    const CORBA::ULong n = state.parts.length();
    state.parts.length(n + 1);
    state.parts[n].server = server.c_str();
    state.parts[n].file = ("/there/" + server + "/perf.csv").c_str();
    state.parts[n].first = nFirst;
    state.parts[n].samples = nSamples;
}

}  // namespace northbound
