#include "nbiutil/user.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "support/heapwatch.h"

namespace {

constexpr std::string_view SHORT_SECRET = "s3cr3t";  // inside the object
constexpr std::string_view LONG_SECRET = "a secret that is too long for the object itself";

/// In how many of the blocks that \p action frees one of the secrets stands.
int LeaksOf(const std::function<void()>& action)
{
    const nbitest::HeapWatch watch;
    action();
    return watch.Sightings(std::string(SHORT_SECRET)) + watch.Sightings(std::string(LONG_SECRET));
}

}  // namespace

namespace NS_UTIL {
namespace {

// ------------------------------------------------------------------ TokenInfo

const TokenInfo TOKEN(1, 2, "t1", "t2", "t3");

TEST(TokenInfoTest, StartsWithZerosAndEmptyTexts)
{
    const TokenInfo token;
    EXPECT_EQ(token.GetNumber1(), 0);
    EXPECT_EQ(token.GetNumber2(), 0);
    EXPECT_EQ(token.GetText1(), "");
    EXPECT_EQ(token.GetText2(), "");
    EXPECT_EQ(token.GetText3(), "");
}

TEST(TokenInfoTest, TakesItsFieldsInOrder)
{
    EXPECT_EQ(TOKEN.GetNumber1(), 1);
    EXPECT_EQ(TOKEN.GetNumber2(), 2);
    EXPECT_EQ(TOKEN.GetText1(), "t1");
    EXPECT_EQ(TOKEN.GetText2(), "t2");
    EXPECT_EQ(TOKEN.GetText3(), "t3");
}

TEST(TokenInfoTest, CopiesAllFields)
{
    const TokenInfo copy(TOKEN);
    EXPECT_EQ(copy, TOKEN);
    TokenInfo assigned;
    EXPECT_EQ(&(assigned = TOKEN), &assigned);
    EXPECT_EQ(assigned, TOKEN);
}

TEST(TokenInfoTest, SelfAssignmentChangesNothing)
{
    TokenInfo token(TOKEN);
    const TokenInfo& same = token;
    token = same;
    EXPECT_EQ(token, TOKEN);
}

TEST(TokenInfoTest, EachFieldCountsForEquality)
{
    const std::vector<std::function<void(TokenInfo&)>> changes = {
        [](TokenInfo& token) { token.SetNumber1(9); },
        [](TokenInfo& token) { token.SetNumber2(9); },
        [](TokenInfo& token) { token.SetText1("x"); },
        [](TokenInfo& token) { token.SetText2("x"); },
        [](TokenInfo& token) { token.SetText3("x"); },
        [](TokenInfo& token) { token.SetText1(std::string("t1\0", 3)); },
    };
    for (const auto& change : changes) {
        TokenInfo other(TOKEN);
        EXPECT_TRUE(other == TOKEN);
        EXPECT_FALSE(other != TOKEN);
        change(other);
        EXPECT_FALSE(other == TOKEN);
        EXPECT_TRUE(other != TOKEN);
    }
}

TEST(TokenInfoTest, IsDeletedThroughItsBase)
{
    struct Derived : TokenInfo {
        explicit Derived(bool& bGone) : m_bGone(bGone) {}
        ~Derived() override { m_bGone = true; }
        bool& m_bGone;
    };
    bool bGone = false;
    const TokenInfo* pToken = new Derived(bGone);
    delete pToken;
    EXPECT_TRUE(bGone);
}

// ------------------------------------------------------------------ User

User FullUser()
{
    User user;
    user.SetFirstText("first");
    user.SetSecondText("second");
    user.SetThirdText("third");
    user.SetPwd("pwd");
    user.SetIP("10.0.0.1");
    user.SetPort("8080");
    user.SetToken(TOKEN);
    user.SetNumber1(std::numeric_limits<std::int64_t>::min());
    user.SetNumber2(2);
    user.SetNumber3(3);
    return user;
}

TEST(UserTest, StartsWithZerosAndEmptyTexts)
{
    const User user;
    for (const std::string& text : {user.GetFirstText(), user.GetSecondText(), user.GetThirdText(),
                                    user.GetPwd(), user.GetIP(), user.GetPort()}) {
        EXPECT_EQ(text, "");
    }
    EXPECT_EQ(user.GetToken(), TokenInfo());
    EXPECT_EQ(user.GetNumber1(), 0);
    EXPECT_EQ(user.GetNumber2(), 0);
    EXPECT_EQ(user.GetNumber3(), 0);
}

TEST(UserTest, HoldsWhatIsSet)
{
    const User user = FullUser();
    EXPECT_EQ(user.GetFirstText(), "first");
    EXPECT_EQ(user.GetSecondText(), "second");
    EXPECT_EQ(user.GetThirdText(), "third");
    EXPECT_EQ(user.GetPwd(), "pwd");
    EXPECT_EQ(user.GetIP(), "10.0.0.1");
    EXPECT_EQ(user.GetPort(), "8080");
    EXPECT_EQ(user.GetToken(), TOKEN);
    EXPECT_EQ(user.GetNumber1(), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(user.GetNumber2(), 2);
    EXPECT_EQ(user.GetNumber3(), 3);
}

TEST(UserTest, CopiesAllFields)
{
    const User user = FullUser();
    const User copy(user);
    EXPECT_EQ(copy, user);
    User assigned;
    EXPECT_EQ(&(assigned = user), &assigned);
    EXPECT_EQ(assigned, user);
    User given;
    given.Assign(user);
    EXPECT_EQ(given, user);
}

TEST(UserTest, AssigningItselfChangesNothing)
{
    User user = FullUser();
    const User& same = user;
    user = same;
    user.Assign(same);
    EXPECT_EQ(user, FullUser());
}

TEST(UserTest, EachFieldCountsForEquality)
{
    const std::vector<std::function<void(User&)>> changes = {
        [](User& user) { user.SetFirstText("x"); },
        [](User& user) { user.SetSecondText("x"); },
        [](User& user) { user.SetThirdText("x"); },
        [](User& user) { user.SetPwd("x"); },
        [](User& user) { user.SetIP("x"); },
        [](User& user) { user.SetPort("x"); },
        [](User& user) { user.SetToken(TokenInfo()); },
        [](User& user) { user.SetNumber1(0); },
        [](User& user) { user.SetNumber2(0); },
        [](User& user) { user.SetNumber3(0); },
    };
    for (const auto& change : changes) {
        User other = FullUser();
        EXPECT_TRUE(other == FullUser());
        EXPECT_FALSE(other != FullUser());
        change(other);
        EXPECT_FALSE(other == FullUser());
        EXPECT_TRUE(other != FullUser());
    }
}

template <class... Fields>
bool LieInThisOrder(const Fields&... fields)
{
    const std::vector<const void*> addresses{&fields...};
    return std::is_sorted(addresses.begin(), addresses.end(), std::less<>());
}

TEST(UserTest, FieldsLieInAnotherOrderThanThoseOfUserPara)
{
    const User user;
    EXPECT_TRUE(LieInThisOrder(user.GetSecondText(), user.GetThirdText(), user.GetPwd(), user.GetIP(),
                               user.GetPort(), user.GetFirstText(), user.GetToken()));
    const UserPara para;
    EXPECT_TRUE(LieInThisOrder(para.GetFirstText(), para.GetSecondText(), para.GetThirdText(), para.GetPwd(),
                               para.GetIP(), para.GetPort()));
}

TEST(UserTest, OnlyTheTokenIsPolymorphic)
{
    EXPECT_TRUE(std::has_virtual_destructor_v<TokenInfo>);
    EXPECT_FALSE(std::is_polymorphic_v<User>);
    EXPECT_FALSE(std::is_polymorphic_v<UserPara>);
}

// ------------------------------------------------------------------ UserPara

void ExpectTexts(const UserPara& para, const std::vector<std::string>& texts)
{
    EXPECT_EQ((std::vector<std::string>{para.GetFirstText(), para.GetSecondText(), para.GetThirdText(),
                                        para.GetPwd(), para.GetIP(), para.GetPort()}),
              texts);
}

TEST(UserParaTest, StartsEmpty)
{
    ExpectTexts(UserPara(), {"", "", "", "", "", ""});
}

TEST(UserParaTest, TakesSixTextsInOrder)
{
    ExpectTexts(UserPara("a", "b", "c", "pwd", "ip", "port"), {"a", "b", "c", "pwd", "ip", "port"});
}

TEST(UserParaTest, HoldsWhatIsSet)
{
    UserPara para;
    para.SetFirstText("a");
    para.SetSecondText("b");
    para.SetThirdText("c");
    para.SetPwd("pwd");
    para.SetIP("ip");
    para.SetPort("port");
    ExpectTexts(para, {"a", "b", "c", "pwd", "ip", "port"});
}

TEST(UserParaTest, AddressIsPartedAtItsLastColon)
{
    const UserPara para("a", "b", "c", "pwd", "10.0.0.1:8080");
    ExpectTexts(para, {"a", "b", "c", "pwd", "10.0.0.1", "8080"});
    EXPECT_EQ(para.GetIPAndPort(), "10.0.0.1:8080");
    ExpectTexts(UserPara("", "", "", "", "::1:99"), {"", "", "", "", "::1", "99"});
}

TEST(UserParaTest, AddressWithoutAColonHasNoPort)
{
    const UserPara para("", "", "", "", "10.0.0.1");
    ExpectTexts(para, {"", "", "", "", "10.0.0.1", ""});
    EXPECT_EQ(para.GetIPAndPort(), "10.0.0.1:");
    ExpectTexts(UserPara("", "", "", "", ""), {"", "", "", "", "", ""});
}

TEST(UserParaTest, AddressEndingInAColonHasNoPort)
{
    ExpectTexts(UserPara("", "", "", "", "10.0.0.1:"), {"", "", "", "", "10.0.0.1", ""});
}

TEST(UserParaTest, AddressStartingWithItsColonHasNoIP)
{
    const UserPara para("", "", "", "", ":8080");
    ExpectTexts(para, {"", "", "", "", "", "8080"});
    EXPECT_EQ(para.GetIPAndPort(), ":8080");
    EXPECT_EQ(UserPara().GetIPAndPort(), ":");
}

TEST(UserParaTest, TakesAUsersTextsByName)
{
    ExpectTexts(UserPara(FullUser()), {"first", "second", "third", "pwd", "10.0.0.1", "8080"});
}

TEST(UserParaTest, CopiesAllFields)
{
    const UserPara para("a", "b", "c", "pwd", "ip", "port");
    ExpectTexts(UserPara(para), {"a", "b", "c", "pwd", "ip", "port"});
    UserPara assigned;
    EXPECT_EQ(&(assigned = para), &assigned);
    ExpectTexts(assigned, {"a", "b", "c", "pwd", "ip", "port"});
}

TEST(UserParaTest, SelfAssignmentChangesNothing)
{
    UserPara para("a", "b", "c", "pwd", "ip", "port");
    const UserPara& same = para;
    para = same;
    ExpectTexts(para, {"a", "b", "c", "pwd", "ip", "port"});
}

TEST(UserParaTest, SetPwdTakesTheRecordsOwnPassword)
{
    for (const std::string_view secret : {SHORT_SECRET, LONG_SECRET}) {
        UserPara para;
        para.SetPwd(std::string(secret));
        para.SetPwd(para.GetPwd());
        EXPECT_EQ(para.GetPwd(), secret);
    }
}

TEST(UserParaTest, NewPasswordIsTakenAsItStands)
{
    UserPara para;
    para.SetPwd(" pwd\n");
    para.SetPwd(std::string("*\0x", 3));
    EXPECT_EQ(para.GetPwd(), std::string("*\0x", 3));
}

// What a password leaves behind is looked at where it lay: in the storage of the text.

TEST(UserParaTest, ClearPwdLeavesAnEmptyPasswordOverAsterisks)
{
    UserPara para;
    para.SetPwd("abc");
    para.ClearPwd();
    EXPECT_EQ(para.GetPwd(), "");
    EXPECT_EQ(std::memcmp(para.GetPwd().data(), "\0**", 3), 0);
}

TEST(UserParaTest, NewPasswordIsStoredOverAsterisks)
{
    UserPara para;
    para.SetPwd("abcdef");
    para.SetPwd("x");
    EXPECT_EQ(std::memcmp(para.GetPwd().data(), "x\0****", 6), 0);
}

TEST(UserParaTest, EndOfALongerPasswordUnderAShorterOneIsWipedToo)
{
    UserPara para;
    para.SetPwd("abcdef");
    para = UserPara("", "", "", "x", "", "");
    para.ClearPwd();
    EXPECT_EQ(std::memcmp(para.GetPwd().data(), "\0*****", 6), 0);
}

TEST(UserParaTest, ShortPasswordInsideTheObjectIsWipedAtItsEnd)
{
    alignas(UserPara) unsigned char storage[sizeof(UserPara)] = {};
    auto* pPara = new (storage) UserPara("", "", "", std::string(SHORT_SECRET), "", "");
    const std::size_t nOffset =
        static_cast<std::size_t>(reinterpret_cast<const unsigned char*>(pPara->GetPwd().data()) - storage);
    ASSERT_LT(nOffset, sizeof storage);
    pPara->~UserPara();
    EXPECT_EQ(memmem(storage, sizeof storage, SHORT_SECRET.data(), SHORT_SECRET.size()), nullptr);
    EXPECT_EQ(std::memcmp(storage + nOffset, "\0*****", 6), 0);
}

TEST(UserParaTest, LongPasswordIsWipedBeforeItsStorageIsFreed)
{
    const std::string secret(LONG_SECRET);
    EXPECT_EQ(LeaksOf([&] { UserPara para("", "", "", secret, "", ""); }), 0);
    EXPECT_EQ(LeaksOf([&] {
                  UserPara para("", "", "", secret, "", "");
                  para.SetPwd(std::string(1000, 'x'));
              }),
              0);
    EXPECT_EQ(LeaksOf([&] {
                  const UserPara para("", "", "", secret, "", "");
                  const UserPara copy(para);
              }),
              0);
}

TEST(UserParaTest, StorageThatANewPasswordOutgrowsIsFreedFullOfAsterisks)
{
    const std::string secret(LONG_SECRET);
    UserPara para("", "", "", secret, "", "");
    const nbitest::HeapWatch watch;
    para.SetPwd(std::string(1000, 'x'));
    EXPECT_EQ(watch.Sightings(std::string(secret.size(), '*')), 1);
}

TEST(UserTest, PasswordIsNotWiped)
{
    const std::string secret(LONG_SECRET);
    const auto action = [&secret] {
        User user;
        user.SetPwd(secret);
    };
    EXPECT_EQ(LeaksOf(action), 1);  // and so the watch sees what is freed unwiped
}

}  // namespace
}  // namespace NS_UTIL
