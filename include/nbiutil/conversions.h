/// \file
/// Conversions between text, integers and dotted IPv4 addresses; trimming, splitting and quoting of text.
///
/// Texts are byte strings. But for StrLower() and StrUpper() nothing depends on a locale.
/// Ownership: nothing is kept; results belong to the caller.
/// Threads: any; nothing here holds state or takes a lock of its own. A text that is changed is the caller's
/// alone.
/// Errors: a bool or the fallback value that stands with the function. Nothing is logged, and nothing is
/// thrown on bad input.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "nbiutil/export.h"

namespace NS_UTIL {

/// Turns every backslash into a slash. Repeated and trailing slashes stay.
NBI_EXPORT void PathFormat(std::string& path);

/// The host's trims: white space is what the host takes for it. The readers and splitters below ask the host
/// once in a process which ASCII characters that are.
/// \return the text without white space behind it, in front of it, or both
NBI_EXPORT std::string RTrim(const std::string& text);
NBI_EXPORT std::string LTrim(const std::string& text);
NBI_EXPORT std::string Trim(const std::string& text);

/// Reads a trimmed text that is wholly an integer: decimal, octal after a leading 0, hexadecimal after "0x"
/// (not "0X"), each with an optional "-" in front, never a "+".
/// There is no overflow: the value is what strtoul makes of the text (64 bits, saturating), and its low 32
/// bits are kept, so "4294967295" gives -1.
/// \param[out] nValue the number; as it was when the text is rejected
/// \return whether the text is an integer
[[nodiscard]] NBI_EXPORT bool Str2Int(const std::string& text, int& nValue);

/// The same for a zero-terminated text; null is rejected.
[[nodiscard]] NBI_EXPORT bool Str2Int(const char* pText, int& nValue);

/// The same for callers to whom -1 is as good as a rejected text: the other forms tell the two apart.
/// \return the number, or -1 for a rejected text
[[nodiscard]] NBI_EXPORT int Str2Int(const std::string& text);

/// Change the case byte by byte, as the C locale in force classifies the bytes.
/// \return the text in lower or upper case
NBI_EXPORT std::string StrLower(const std::string& text);
NBI_EXPORT std::string StrUpper(const std::string& text);

/// Write a number without padding or grouping.
/// \return decimal digits, behind a "-" for a negative number
NBI_EXPORT std::string Int2Str(int nValue);
NBI_EXPORT std::string Uint2Str(unsigned int nValue);

/// Tells how far local time lags behind UTC. Daylight saving counts as TZ has it.
/// \param nTime seconds since the epoch
/// \return seconds, -28800 eight hours east of Greenwich; 0 for a time whose year does not fit a calendar.
///         Within a day of the first and the last year that do, one of the two clock faces may not be
///         readable as local time; mktime()'s -1 then counts as a time, and the result means nothing.
NBI_EXPORT long DiffLocalUtcTime(long nTime);

/// Tells whether a text holds nothing but digits.
/// Deliberate: true for an empty text; callers that need a number test for that first. The length counts as a
/// signed 32-bit number, so of a text of 2 GiB and more only the bytes of the wrapped count are looked at.
/// \return whether every byte is one of 0 to 9
NBI_EXPORT bool IsDigit(const std::string& text);

/// Doubles every single quote, for use inside a quoted SQL text. Quotes that are doubled already are doubled
/// again.
NBI_EXPORT void CheckAndEscapeTranform(std::string& text);

/// Cuts out what stands between the first \p openTag of \p source and the first \p closeTag of \p source.
/// Nested or repeated tags are not considered.
/// \param[out] value the cut, possibly empty, also where the tags overlap; as it was on false
/// \return false when a tag is missing or the close tag stands before the open tag
NBI_EXPORT bool SplitStringByXMLTag(const std::string& source, const std::string& openTag,
                                    const std::string& closeTag, std::string& value);

/// The same for the tags "<tagName>" and "</tagName>".
NBI_EXPORT bool SplitStringByXMLTag(const std::string& source, const std::string& tagName,
                                    std::string& value);

/// Overwrites every value with '*', for connection parameters that hold passwords. Keys and lengths stay.
NBI_EXPORT void ClearDBPara(std::map<std::string, std::string>& parameters);

/// Writes bytes in hexadecimal.
/// \param pBytes  \p nLength bytes, or null
/// \param nLength bytes
/// \return two upper-case digits for each byte; "" for null or a length below 1
NBI_EXPORT std::string ByteToHex(const void* pBytes, const int& nLength);

/// Writes an address.
/// \param nAddress whose low 32 bits count
/// \return dotted text, most significant byte first
NBI_EXPORT std::string IpLong2Str(const long& nAddress);

/// Reads a dotted address, each part as Str2Int() reads it.
/// Deliberate: the parts are not range-checked, and neither is their number beyond four. Each is written as
/// at least two hexadecimal digits, and what they form together is read as one number: "1.2.3.256" is
/// 0x010203100, a part that is no number counts as ffffffff. Callers that take addresses from outside check
/// them first.
/// \param[out] nAddress the signed reading of the 32 bits, so negative from "128.0.0.0" on, which
///                      IpLong2Str() turns back; as it was on false
/// \return false for fewer than four parts or an empty one
NBI_EXPORT bool IpStr2Long(const std::string& text, long& nAddress);

/// Flags of SplitStringByTag(). The last two count only together with the first.
constexpr unsigned short SPLIT_KEEP_EMPTY = 1;   ///< empty pieces are kept; else one fails the call
constexpr unsigned short SPLIT_LEADING_TAG = 2;  ///< the text must begin with the separator, which is skipped
constexpr unsigned short SPLIT_TRAILING_TAG = 4;  ///< the text must end with the separator, which is skipped

/// Splits \p text at every \p separator and trims the pieces as Trim() does. Without SPLIT_KEEP_EMPTY one
/// separator at either end of the text is skipped.
/// \param[in,out] pieces what is found is appended; pieces in front of one that fails the call stay appended.
///                       \p text may be an element of it
/// \param         nFlags SPLIT_KEEP_EMPTY and the others; further bits have no meaning
/// \return false for an empty text, a missing separator that the flags demand, or an empty piece that they
///         do not keep
NBI_EXPORT bool SplitStringByTag(const std::string& text, std::vector<std::string>& pieces, char separator,
                                 unsigned short nFlags);

/// Writes numbers as ranges: 1 2 3 5 7 8 as "1-3,5,7-8".
/// Deliberate: a number that stands twice closes a range, so 2 2 3 gives "2,2-3"; callers that want sets make
/// the numbers unique first.
/// \param[out]    text as it was when there are no numbers
/// \param[in,out] values sorted on return
NBI_EXPORT void VecInt2Str(std::string& text, std::vector<int>& values);

}  // namespace NS_UTIL
