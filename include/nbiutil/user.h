/// \file
/// Records of a user, of the parameters with which a user logs on, and of the user's token.
///
/// What the numbered texts and numbers stand for is agreed between those who fill them and those who read
/// them; the library only carries them.
/// Threads: none of the records has a lock; like a text, one is changed by one thread at a time.
#pragma once

#include <cstdint>
#include <string>

#include "nbiutil/export.h"

namespace NS_UTIL {

/// The token under which a user is logged on: two numbers and three texts. Programs may derive from it; a
/// record is deleted through this class too.
/// Ownership: a value; it owns its texts, which are not wiped.
/// Threads: none; an object belongs to one thread at a time.
/// Errors: only a failing allocation throws.
class NBI_EXPORT TokenInfo {
public:
    /// Numbers 0, texts empty.
    TokenInfo() = default;
    /// The five fields in their order.
    TokenInfo(const int& nNumber1, const int& nNumber2, const std::string& text1, const std::string& text2,
              const std::string& text3);
    TokenInfo(const TokenInfo& other) = default;
    TokenInfo& operator=(const TokenInfo& other) = default;
    virtual ~TokenInfo();

    /// All five fields count, texts byte by byte.
    bool operator==(const TokenInfo& other) const;
    bool operator!=(const TokenInfo& other) const;

    int GetNumber1() const { return m_nNumber1; }
    void SetNumber1(int nNumber) { m_nNumber1 = nNumber; }
    int GetNumber2() const { return m_nNumber2; }
    void SetNumber2(int nNumber) { m_nNumber2 = nNumber; }
    const std::string& GetText1() const { return m_Text1; }
    void SetText1(const std::string& text) { m_Text1 = text; }
    const std::string& GetText2() const { return m_Text2; }
    void SetText2(const std::string& text) { m_Text2 = text; }
    const std::string& GetText3() const { return m_Text3; }
    void SetText3(const std::string& text) { m_Text3 = text; }

private:
    int m_nNumber1 = 0;
    int m_nNumber2 = 0;
    std::string m_Text1;
    std::string m_Text2;
    std::string m_Text3;
};

/// A whole user with the token.
/// Deliberate: the fields lie in another order than those of UserPara, and readers that list them field by
/// field rely on it; UserPara takes them over by name.
/// The password is not wiped, neither when it is replaced nor at the end: code that has to let go of one
/// keeps it in a UserPara.
/// Ownership: a value; it owns its texts and its token.
/// Threads: none; an object belongs to one thread at a time.
/// Errors: only a failing allocation throws.
class NBI_EXPORT User {
public:
    /// Texts empty, numbers 0.
    User() = default;
    User(const User& other) = default;
    User& operator=(const User& other) = default;
    ~User() = default;

    /// operator= for callers that want no result.
    void Assign(const User& other);

    /// All ten fields count, the password included.
    bool operator==(const User& other) const;
    bool operator!=(const User& other) const;

    const std::string& GetSecondText() const { return m_SecondText; }
    void SetSecondText(const std::string& text) { m_SecondText = text; }
    const std::string& GetThirdText() const { return m_ThirdText; }
    void SetThirdText(const std::string& text) { m_ThirdText = text; }
    const std::string& GetPwd() const { return m_Pwd; }
    void SetPwd(const std::string& pwd) { m_Pwd = pwd; }
    const std::string& GetIP() const { return m_IP; }
    void SetIP(const std::string& ip) { m_IP = ip; }
    const std::string& GetPort() const { return m_Port; }
    void SetPort(const std::string& port) { m_Port = port; }
    const std::string& GetFirstText() const { return m_FirstText; }
    void SetFirstText(const std::string& text) { m_FirstText = text; }
    const TokenInfo& GetToken() const { return m_Token; }
    void SetToken(const TokenInfo& token) { m_Token = token; }
    std::int64_t GetNumber1() const { return m_nNumber1; }
    void SetNumber1(std::int64_t nNumber) { m_nNumber1 = nNumber; }
    std::int32_t GetNumber2() const { return m_nNumber2; }
    void SetNumber2(std::int32_t nNumber) { m_nNumber2 = nNumber; }
    std::int32_t GetNumber3() const { return m_nNumber3; }
    void SetNumber3(std::int32_t nNumber) { m_nNumber3 = nNumber; }

private:
    std::string m_SecondText;
    std::string m_ThirdText;
    std::string m_Pwd;
    std::string m_IP;
    std::string m_Port;
    std::string m_FirstText;
    TokenInfo m_Token;
    std::int64_t m_nNumber1 = 0;
    std::int32_t m_nNumber2 = 0;
    std::int32_t m_nNumber3 = 0;
};

/// The parameters of a user as a caller hands them in. The record overwrites its password with '*' before it
/// lets go of it; every copy of the record does so for its own, and one that cannot be made leaves none.
/// Ownership: a value; it owns its texts. Texts that it was made of stay the caller's, who wipes them.
/// Threads: none; an object belongs to one thread at a time.
/// Errors: only a failing allocation throws.
class NBI_EXPORT UserPara {
public:
    /// All texts empty.
    UserPara() = default;
    /// \param address IP address and port, parted at the last colon; without one, an IP address alone
    UserPara(const std::string& firstText, const std::string& secondText, const std::string& thirdText,
             const std::string& pwd, const std::string& address);
    /// The six fields in their order.
    UserPara(const std::string& firstText, const std::string& secondText, const std::string& thirdText,
             const std::string& pwd, const std::string& ip, const std::string& port);
    UserPara(const UserPara& other);
    /// The parameters of \p user, text by text of the same name.
    UserPara(const User& user);  // NOLINT(google-explicit-constructor): a user serves where parameters do
    /// Deliberate: the old password is overwritten by the new one, not wiped first; whoever replaces a record
    /// that holds one calls ClearPwd() on it.
    UserPara& operator=(const UserPara& other) = default;
    ~UserPara();

    /// Overwrites the present password with asterisks, then holds a copy of \p pwd, which may be the record's
    /// own. Asterisks are left where there is no memory for the copy.
    void SetPwd(const std::string& pwd);
    /// Leaves an empty password over storage that holds asterisks alone.
    void ClearPwd();

    /// IP address, ":" and port, the colon also where either is empty.
    std::string GetIPAndPort() const;

    const std::string& GetFirstText() const { return m_FirstText; }
    void SetFirstText(const std::string& text) { m_FirstText = text; }
    const std::string& GetSecondText() const { return m_SecondText; }
    void SetSecondText(const std::string& text) { m_SecondText = text; }
    const std::string& GetThirdText() const { return m_ThirdText; }
    void SetThirdText(const std::string& text) { m_ThirdText = text; }
    const std::string& GetPwd() const { return m_Pwd; }
    const std::string& GetIP() const { return m_IP; }
    void SetIP(const std::string& ip) { m_IP = ip; }
    const std::string& GetPort() const { return m_Port; }
    void SetPort(const std::string& port) { m_Port = port; }

private:
    std::string m_FirstText;
    std::string m_SecondText;
    std::string m_ThirdText;
    std::string m_Pwd;
    std::string m_IP;
    std::string m_Port;
};

}  // namespace NS_UTIL
