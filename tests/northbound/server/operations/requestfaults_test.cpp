// Single faults in whole requests: from the front end's call through dispatcher, pools and operation to the answer.
#include <string>
#include <utility>
#include <vector>

#include "nbihost/standalone.h"
#include "nbiutil/errcode.h"
#include "northbound/server/operations/inprocess.h"
#include "security/keytomake.h"
#include "shared/names.h"
#include "support/rsakey.h"
#include "support/singlefaults.h"

namespace northbound {
namespace {

using namespace nbitest;

const std::string PRIVATE = RsaKey(2048).Private();
const KeyToMake KEY_TO_MAKE(PRIVATE);
const std::string LOOPBACK = Machine().DistinguishedName("lo");

std::string CodeText(unsigned int nCode)
{
    return "answer " + std::to_string(nCode);
}

/// What a request may be answered beside its result: the caller is told that something failed.
const std::vector<std::string> FAILED{CodeText(ErrCode::INTERNAL),
                                      CodeText(ErrCode::NO_FIGURES),
                                      CodeText(ErrCode::FILE_NOT_WRITTEN),
                                      CodeText(ErrCode::CANNOT_PACK),
                                      CodeText(ErrCode::NOT_CONFIGURED),
                                      CodeText(ErrCode::UNKNOWN_OBJECT),
                                      CodeText(ErrCode::NOT_DECRYPTED),
                                      CodeText(ErrCode::BAD_CIPHER_TEXT),
                                      CodeText(NS_UTIL::ErrCode::TASK_BODY_FAILED)};

const Scenario::Kinds WITH_THREADS{
    {FaultKind::LOCK, "a scope whose lock cannot be taken runs unlocked: with other threads that is a race"},
    {FaultKind::ACE_MEMORY, "ACE's manager of threads uses memory that it did not get"}};

/// Where random bytes are the first that OpenSSL is asked for.
const Scenario::Kinds WITH_RANDOM_BYTES = [] {
    Scenario::Kinds kinds = WITH_THREADS;
    kinds[FaultKind::OPENSSL] =
        "OpenSSL forgets memory of its own where it finds too little while it sets itself up";
    return kinds;
}();

/// Asks, then asks for something else: the server goes on.
template <class Operation>
Scenario Request(std::string name, typename Operation::Request request,
                 const Scenario::Kinds& without = WITH_THREADS)
{
    const auto body = [request = std::move(request)](Faults& faults) {
        InProcessServer server("HugeTaskLimit = 4\nTaskMgrMaxThreadNum = 2\n");
        const std::string result =
            faults.During([&] { return CodeText(CodeOf(server.Ask<Operation>(request))); });
        faults.Expect(CodeOf(server.Ask<ReadCounters>({LOOPBACK})) == 0, "the next request fails");
        const std::string config = ReadFile(server.ConfigFile());
        faults.Expect(config.find("[server]\nHugeTaskLimit") != std::string::npos &&
                          config.find("\nTaskMgrMaxThreadNum = 2\n") != std::string::npos,
                      "the configuration is not whole");
        return result;
    };
    return {std::move(name), body, FAILED, without};
}

const std::vector<Scenario> SCENARIOS = {
    Request<Inventory>("request inventory", {}),
    Request<ReadCounters>("request counters", {LOOPBACK}),
    Request<Collect>("request collect", {LOOPBACK, 10, 10}),
    Request<HugeTasks>("request tasks", {}),
    Request<SetItem>("request config", {"HugeTaskLimit", "5"}),
    Request<Challenge>("request challenge", {}, WITH_RANDOM_BYTES),
    Request<SendSecret>("request secret", {"0" + std::string(511, 'a')}),  // below the modulus of every key
    Request<Pack>("request pack", {"gzip", 1}),
    Request<Files>("request files", {}),
    Request<Pools>("request pools", {}),
};

}  // namespace
}  // namespace northbound

NBI_SINGLE_FAULTS(northbound::SCENARIOS)
