/// \file
/// Helpers that the services of the northbound interface share: configuration switches, tagged texts and
/// name=value lists, the environment, child processes, and the edit of one item of a configuration file.
#pragma once

#include <atomic>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "nbihost/objectschema.h"
#include "nbiutil/export.h"

namespace NS_UTIL {

/// What an edit of a configuration file holds of it (SelfUtilCommon::modifyCorbaItemByCfg()).
constexpr std::size_t MAX_CONFIG_LINES = 1024;
constexpr std::size_t MAX_CONFIG_LINE_LENGTH = 1023;  ///< characters, without the line end

/// A helper for the objects of the host's domain model.
/// Ownership: nothing is kept; the schema stays the caller's.
/// Threads: as the schema allows.
/// Errors: none of its own.
class NBI_EXPORT SchemaUtil {
public:
    /// Marks the attribute \p name dirty when \p nMask is not -1 and shares a bit with \p nFlag.
    static void GetSchemaByOperMask(int nMask, int nFlag, const std::string& name, ObjectSchema_T& schema);
};

/// Helpers for separated texts.
/// Ownership: nothing is kept; results belong to the caller.
/// Threads: any, on outputs of their own.
/// Errors: the results stated; nothing is thrown on bad input, and nothing is logged.
class NBI_EXPORT Parser {
public:
    /// Splits \p item at its first character that is any one of \p separators.
    /// \param[out] name  the text before it; untouched without a separator
    /// \param[out] value the text behind it; untouched without a separator
    /// \return false without a separator
    static bool ParseItemNVByTag(const std::string& item, std::string& name, std::string& value,
                                 std::string separators);

    /// Splits \p source at each occurrence of the whole \p separator. An empty separator means one piece.
    /// \param[in,out] pieces gets the pieces appended, untrimmed, empty ones and the one behind the last
    ///                       separator included; \p source may be an element of it
    static void SplitStrByTag(const std::string& source, const std::string& separator,
                              std::vector<std::string>& pieces);
};

/// The helpers of services. They keep nothing between calls.
/// Ownership: one object per process, from the first Instance() to Destroy(); callers never delete it.
/// Threads: any, on outputs of their own, and modifyCorbaItemByCfg() on one file at a time. StartProcess()
/// and modifyCorbaItemByCfg() block until the command has ended, and ParserNmsHostName() until the resolver
/// has answered.
/// Errors: the results stated; nothing is thrown on bad input. Only StartProcess() and modifyCorbaItemByCfg()
/// write log lines.
class NBI_EXPORT SelfUtilCommon {
public:
    /// Null only when there is no object yet and the static-object lock cannot be taken.
    static SelfUtilCommon* Instance();
    static void Destroy();

    /// Looks a text up by its key.
    /// \param[out] value the text; without one it stays as it was
    void GetDataFromMap(const std::map<int, std::string>& texts, int nKey, std::string& value) const;
    void GetDataFromMap(const std::map<std::string, std::string>& texts, const std::string& key,
                        std::string& value) const;

    /// Looks a number up by its name.
    /// \param[out] nValue the decimal number at the head of the text under \p name, 0 when there is none; the
    ///                    low 32 bits of what strtol() gives
    /// \return false when there is no such name; \p nValue is then as it was
    bool GetIntegerValueByName(const std::map<std::string, std::string>& texts, const std::string& name,
                               int& nValue) const;

    /// Reads the host's configuration item as a text.
    /// \param[out] value the text; as it was when the host has no such item
    /// \return what the host answers: false when it has no such item
    bool GetSupportCfgItem(const std::string& name, std::string& value) const;

    /// Reads the host's configuration item as a switch.
    /// \return true when it is the number 1; any other number, and a missing item, counts as off
    bool IsSupportCfgItem(std::string name) const;

    /// Changes the case byte by byte, as the C locale in force classifies the bytes.
    /// \return the text in upper case
    std::string upperStr(const std::string& text) const;

    /// Cuts a text out from between the first start tag and the first end tag, both looked up from the
    /// beginning.
    /// \param nOffset characters behind the start of the start tag: its length gives the enclosed text
    /// \return the text; empty when a tag is missing, or when the range is empty, inverted or begins in front
    ///         of the text
    std::string GetValByTag(const std::string& source, const std::string& startTag, const std::string& endTag,
                            const int& nOffset) const;

    /// Resolves a host name, IPv4 only. An empty name, and one with a zero byte in it, is refused.
    /// \param[out] address dotted text of the first address; untouched on failure
    /// \return false when the resolver has no IPv4 address, or needs more than 4,096 bytes for its answer
    bool ParserNmsHostName(const std::string& hostName, std::string& address) const;

    /// Tells whether a path is of plain characters. An underscore or a blank is none.
    /// \param path stays as it is
    /// \return true when it holds nothing but A-Z, a-z, 0-9, "-", "." and "/"; so also for an empty one
    bool filePathEnvCheck(std::string& path) const;

    /// Reads the environment; no other thread may change it meanwhile.
    /// \return the variable's value, or an empty text
    std::string getEnvValue(const std::string& name) const;

    /// Replaces \p from by \p to, left to right. After each replacement the search goes on at the previous
    /// search start plus the length of \p to, which is not the place behind the replacement: replacing "a"
    /// by "aa" in "xa" gives "xaaa". An empty \p from changes nothing. \p from and \p to count as they are
    /// at the call, also when one of them is \p subject itself. The time is linear in the subject and the
    /// result.
    /// \return always true
    bool replaceStr(std::string& subject, const std::string& from, const std::string& to) const;

    /// Enters the pieces of a list name=value, separator, name=value, ... into a map; the last one of a name
    /// wins, and a piece without "=" is skipped. The next piece begins one character behind the start of a
    /// separator: of a longer separator the rest stays at the head of that piece. An empty separator means
    /// one piece.
    /// \param[in,out] values keeps what it holds under other names; \p list may be one of its texts
    void GetSpliteFDNData(std::map<std::string, std::string>& values, const std::string& list,
                          std::string separator) const;

    /// The same under another name.
    void GetSplitNameValueMapbyTag(std::map<std::string, std::string>& values, const std::string& list,
                                   const std::string& separator) const;

    /// Starts a child process. No shell: words are split at blanks, and "..." or '...' holds one word
    /// together. "%" is an ordinary character. The child inherits the environment and the standard streams,
    /// each of these that is closed being the null device, and none of the process's other files. Every copy
    /// of the command line that is made here is wiped afterwards.
    /// \param workDir where the child runs and from where a program with a relative path is found; empty: the
    ///                current directory. More than 4,096 characters abort the process.
    /// \param command at most MAX_COMMAND_LENGTH characters and MAX_COMMAND_WORDS words (zipfile.h)
    /// \param bWait   true: return when the child has ended; its exit status is not looked at. false: the
    ///                child stays with ACE_Process_Manager::instance(), which the host asks to collect it.
    /// \return false, after one log line with the reason, when the child could not be started: a command that
    ///         is empty or too long, a program, loader or directory that is not there or not allowed, an
    ///         environment that is too large, or no process left.
    [[nodiscard]] bool StartProcess(const std::string& workDir, const std::string& command, bool bWait) const;

    /// Sets one item of a configuration file: every line that contains \p key anywhere, comments and longer
    /// keys included, becomes "key=value", or "-key value" for the keys "SSLVersion" and
    /// "SSLPrivateKeyPasswd". An empty key is contained in every line.
    ///
    /// Only files of up to MAX_CONFIG_LINES lines of up to MAX_CONFIG_LINE_LENGTH characters come through
    /// whole: lines behind the last of these are dropped (and with them its line end); a longer line is cut,
    /// and everything behind it becomes empty lines, MAX_CONFIG_LINES in all.
    ///
    /// Between reading and writing \p commandPrefix, directly followed by \p path, is run through
    /// StartProcess() in the current directory and sees the old file; when it cannot be started, a log line
    /// says so and the file is written all the same.
    ///
    /// The new text is stored completely or not at all: a draft with the file's owner and mode, called like
    /// the file with ".nbi-draft." and six characters behind, replaces it (hard links and access lists are
    /// not kept; of a symbolic link the target is replaced). A process that is killed on the way leaves the
    /// old file and perhaps its draft, with all that stands in the new text; the next edit of the file
    /// removes every draft of it that no process holds.
    ///
    /// Beware: where no draft can be made with this owner and mode or put in the file's place, the file is
    /// rewritten in place. It is put back on a failure, but a process that is killed in the middle leaves the
    /// head of the new text in front of the rest of the old one. A file of more than 1 MiB is refused there.
    /// \return true when the new text, and its name, are on the disk. false when the file could not be read,
    ///         not be opened for writing, or the new text not be stored; the file then holds what it held
    ///         before, or what the command has made of it, except after a failed sync of its folder: then it
    ///         holds the new text, which a power cut may take back. The first and the last of the three cost
    ///         one log line.
    bool modifyCorbaItemByCfg(const std::string& path, const std::string& key, const std::string& value,
                              const std::string& commandPrefix) const;

private:
    SelfUtilCommon() = default;
    ~SelfUtilCommon() = default;

    static std::atomic<SelfUtilCommon*> m_pInstance;
};

}  // namespace NS_UTIL
