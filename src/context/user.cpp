#include "nbiutil/user.h"

#include <cstddef>

#include "base/wipe.h"

namespace NS_UTIL {
namespace {

/// Masks the whole storage: where a shorter password was assigned over a longer one, the end of the longer one
/// lies behind the text.
void MaskPassword(std::string& password)
{
    password.resize(password.capacity(), MASK);
    MaskText(password);
}

}  // namespace

TokenInfo::TokenInfo(const int& nNumber1, const int& nNumber2, const std::string& text1,
                     const std::string& text2, const std::string& text3)
    : m_nNumber1(nNumber1), m_nNumber2(nNumber2), m_Text1(text1), m_Text2(text2), m_Text3(text3)
{
}

TokenInfo::~TokenInfo() = default;

bool TokenInfo::operator==(const TokenInfo& other) const
{
    return m_Text1 == other.m_Text1 && m_nNumber1 == other.m_nNumber1 && m_nNumber2 == other.m_nNumber2 &&
           m_Text2 == other.m_Text2 && m_Text3 == other.m_Text3;
}

bool TokenInfo::operator!=(const TokenInfo& other) const
{
    return !(*this == other);
}

void User::Assign(const User& other)
{
    *this = other;
}

bool User::operator==(const User& other) const
{
    return m_SecondText == other.m_SecondText && m_ThirdText == other.m_ThirdText && m_Pwd == other.m_Pwd &&
           m_IP == other.m_IP && m_Port == other.m_Port && m_FirstText == other.m_FirstText &&
           m_Token == other.m_Token && m_nNumber2 == other.m_nNumber2 && m_nNumber1 == other.m_nNumber1 &&
           m_nNumber3 == other.m_nNumber3;
}

bool User::operator!=(const User& other) const
{
    return !(*this == other);
}

UserPara::UserPara(const std::string& firstText, const std::string& secondText, const std::string& thirdText,
                   const std::string& pwd, const std::string& address)
    : UserPara(firstText, secondText, thirdText, pwd, address, std::string())
{
    const std::size_t nColon = address.rfind(':');
    if (nColon == std::string::npos) return;
    m_IP.erase(nColon);
    m_Port = address.substr(nColon + 1);
}

UserPara::UserPara(const std::string& firstText, const std::string& secondText, const std::string& thirdText,
                   const std::string& pwd, const std::string& ip, const std::string& port)
    : m_FirstText(firstText), m_SecondText(secondText), m_ThirdText(thirdText), m_IP(ip), m_Port(port)
{
    m_Pwd = pwd;  // last: a copy that fails behind it would free it unwiped
}

UserPara::UserPara(const UserPara& other)
    : UserPara(other.m_FirstText, other.m_SecondText, other.m_ThirdText, other.m_Pwd, other.m_IP,
               other.m_Port)
{
}

UserPara::UserPara(const User& user)
    : UserPara(user.GetFirstText(), user.GetSecondText(), user.GetThirdText(), user.GetPwd(), user.GetIP(),
               user.GetPort())
{
}

UserPara::~UserPara()
{
    ClearPwd();
}

void UserPara::SetPwd(const std::string& pwd)
{
    if (&pwd == &m_Pwd) return;
    MaskPassword(m_Pwd);
    m_Pwd = pwd;
}

void UserPara::ClearPwd()
{
    SetPwd(std::string());
}

std::string UserPara::GetIPAndPort() const
{
    return m_IP + ":" + m_Port;
}

}  // namespace NS_UTIL
