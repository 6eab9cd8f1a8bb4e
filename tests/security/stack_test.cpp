// What the shared library leaves of a password on the stack. Functions of a library that is not bound when it
// is loaded are looked up at their first call, by a resolver that saves the registers there, and the
// registers hold what was copied last.
#include <gtest/gtest.h>

#include <string>

#include "nbiutil/securebuffer.h"
#include "nbiutil/user.h"
#include "support/stackwatch.h"

namespace NS_UTIL {
namespace {

using nbitest::StackWatch;

constexpr std::size_t REGISTER_PART = 8;

std::string Password(char first)
{
    std::string password;
    for (int i = 0; i < 28; ++i) password += static_cast<char>(first + i % 3 * 7 + i);
    return password;
}

/// The C++ library looks up its own functions late, whatever is done here: each once, with something
/// harmless.
void BindTheStandardLibrary()
{
    std::string text(28, 'x');
    std::string copy(text);
    copy = std::string(60, 'y');
    copy.assign(text);
    copy += text;
    copy.resize(copy.capacity(), 'z');
    copy.erase(copy.rfind('x'));
    copy = copy.substr(1) + "tail";
    copy.clear();
}

TEST(StackTest, WatchSeesAPasswordThatIsNotWiped)
{
    const std::string password = Password('!');
    const StackWatch watch([&password] {
        char room[100];
        password.copy(room, password.size());
        asm volatile("" : : "r"(room) : "memory");
    });
    EXPECT_TRUE(watch.Holds(password));
    EXPECT_TRUE(watch.HoldsAnyOf(password, REGISTER_PART));
}

TEST(StackTest, NoPartOfAPasswordStaysBehindUserPara)
{
    BindTheStandardLibrary();
    const std::string password = Password('!');
    const StackWatch watch([&password] {
        UserPara para("a", "b", "c", password, "10.0.0.1:22");
        para.SetPwd(password);
        const UserPara copy(para);
        para.ClearPwd();
    });
    EXPECT_FALSE(watch.HoldsAnyOf(password, REGISTER_PART));
}

TEST(StackTest, NoPartOfAPasswordStaysBehindPwdCtrlString)
{
    BindTheStandardLibrary();
    const std::string password = Password('!');
    const StackWatch watch([&password] {
        PwdCtrlString held;
        held.SetStr(password);
        held.ClearStr();
    });
    EXPECT_FALSE(watch.HoldsAnyOf(password, REGISTER_PART));
}

}  // namespace
}  // namespace NS_UTIL
