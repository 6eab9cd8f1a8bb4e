/// \file
/// Single faults: an operation is run again and again, and each time another one of the calls that it makes fails: the
/// first allocation, the second, and so on until it runs through, then the first lock ... A test program lists what it
/// tries (each run is a process of its own) and links nbi_singlefaults:
///
///     const std::vector<Scenario> SCENARIOS = {
///         {"StrLower", [] { return StrLower("ABC"); }},
///         {"LocalRsaKeyMgr::Init", [](Faults& faults) {
///              LocalRsaKeyMgr& manager = *LocalRsaKeyMgr::Instance();  // nothing fails here
///              return faults.During([&] { return manager.Init(); });
///          }, {"0"}},
///     };
///     NBI_SINGLE_FAULTS(SCENARIOS)
///
/// What has to hold after each: the process has not crashed and does not hang, the result is the one without a fault, a
/// std::bad_alloc where an allocation has failed, or one that the scenario names because the operation's contract does;
/// nobody waits on a descriptor, no file is open that was not, no draft lies in the folder, no block that was freed holds
/// a secret, and, under LeakSanitizer, nothing has leaked.
///
/// NBI_FAULTS_MOST in the environment says how many faults of a kind are tried in one scenario, evenly spread; all: every one.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/faultpoint.h"
#include "support/heapwatch.h"
#include "support/testdirectory.h"

namespace nbitest {

/// A result as text, to compare it by.
template <class Result>
std::string ResultText(const Result& result)
{
    std::ostringstream text;
    text << std::boolalpha << result;
    return text.str();
}

/// One run of a scenario, in a process of its own.
class Faults {
public:
    Faults();
    Faults(const Faults&) = delete;
    Faults& operator=(const Faults&) = delete;

    /// Only in here calls fail. \p work returns what can be written to a stream.
    /// \return its result, or the exception that ended it
    template <class Work>
    std::string During(Work work)
    {
        return Guarded([this, &work] {
            auto result = [this, &work] {
                const Armed armed(*this);
                return work();
            }();
            return ResultText(result);
        });
    }

    const TestDirectory& Folder() const { return m_Folder; }
    /// No block that is freed in During() may hold these bytes.
    void KeepSecret(const std::string& bytes);
    /// What else has to hold.
    void Expect(bool bHolds, const std::string& what);

    const std::string& Problems() const { return m_Problems; }
    /// Looks at what a fault may have left.
    void LookForTraces();

private:
    class Armed {
    public:
        explicit Armed(Faults& faults);
        ~Armed();
        Armed(const Armed&) = delete;
        Armed& operator=(const Armed&) = delete;

    private:
        Faults& m_Faults;
    };
    static std::string Guarded(const std::function<std::string()>& work);
    static std::size_t OpenFiles();

    TestDirectory m_Folder;
    std::vector<std::string> m_Secrets;
    std::unique_ptr<HeapWatch> m_pWatch;
    std::size_t m_nOpenFiles;
    std::string m_Problems;
};

class Scenario {
public:
    using Body = std::function<std::string(Faults&)>;
    using Kinds = std::map<FaultKind, const char*>;

    /// \param operations exported names, with blanks between them
    /// \param body takes Faults& and returns what During() gave; or takes nothing, and calls fail in all of it
    /// \param others   results by which the operations tell that they failed
    /// \param without kinds that are not tried, and why
    template <class Work>
    Scenario(std::string operations, Work body, std::vector<std::string> others = {}, Kinds without = {})
        : m_Operations(std::move(operations)),
          m_Body(BodyOf(std::move(body))),
          m_Others(std::move(others)),
          m_Without(std::move(without))
    {
    }

    const std::string& Operations() const { return m_Operations; }
    std::string TestName() const;
    void TryEveryFault() const;

private:
    struct Outcome;
    struct Counts;

    template <class Work>
    static Body BodyOf(Work body)
    {
        if constexpr (std::is_invocable_v<Work, Faults&>) {
            return body;
        } else {
            return [body = std::move(body)](Faults& faults) { return faults.During(body); };
        }
    }
    Outcome Run(FaultKind kind, long nFailing) const;
    Outcome InChild(FaultKind kind, long nFailing) const;
    bool IsAllowed(const std::string& result, const std::string& usual, FaultKind kind) const;

    std::string m_Operations;
    Body m_Body;
    std::vector<std::string> m_Others;
    Kinds m_Without;
};

/// A lock that never fails: one of the test's own furniture.
void NeverFail(const void* pLock);

std::ostream& operator<<(std::ostream& out, const Scenario& scenario);

class SingleFaults : public ::testing::TestWithParam<Scenario> {};

}  // namespace nbitest

#define NBI_SINGLE_FAULTS(scenarios)                                                                   \
    namespace nbitest {                                                                                \
    TEST_P(SingleFaults, LeaveNothingBehind)                                                           \
    {                                                                                                  \
        GetParam().TryEveryFault();                                                                    \
    }                                                                                                  \
    INSTANTIATE_TEST_SUITE_P(Of, SingleFaults, ::testing::ValuesIn(scenarios), [](const auto& tried) { \
        return tried.param.TestName() + std::to_string(tried.index);                                   \
    });                                                                                                \
    }
