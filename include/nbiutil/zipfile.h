/// \file
/// Packing of files with the system's tar, gzip and zip.
#pragma once

#include <atomic>
#include <cstddef>
#include <list>
#include <string>

#include "nbiutil/export.h"

namespace NS_UTIL {

/// The largest command that is started, here and by SelfUtilCommon::StartProcess(). Words are split at
/// blanks; text in "..." or '...' belongs to one word. A longer command could not be started.
constexpr std::size_t MAX_COMMAND_LENGTH = 1023;  ///< characters
constexpr std::size_t MAX_COMMAND_WORDS = 127;    ///< the program included

/// Packs files by running tar, gzip and zip as child processes, one after the other, without a shell.
///
/// Names: they are put into the commands as they are, so that names with blanks or quotes are not supported.
/// "%%" in a command becomes one "%", and a command with any other "%" is refused. So that every program
/// takes a name for a file of this machine, a relative name that begins with "-", and a relative archive name
/// with a ":" in front of any "/", stand in the command with "./" in front; a zip archive's stem whose last
/// component has a "." stands there with ".zip" behind it, since zip adds none to it. Reported and deleted
/// are the names as they were. A command with an empty name in it is refused, and so is a zip group that
/// holds its own archive.
///
/// Commands: one that is refused counts as one that could not be started; one that ran and failed counts as
/// done, since exit statuses are not looked at. A stem is a name up to its last ".", wherever that stands,
/// also in a folder's name; a base name is what follows the last "/".
///
/// Relative file names mean two things: the commands run in \p workDir, while files are deleted relative to
/// the process's own current directory. Absolute names avoid that.
///
/// Children: they get the environment, the null device as standard input, and the process's standard output
/// and error, but the null device for each of these that is closed, a pipe or a socket. They get none of its
/// other files.
///
/// Ownership: one per process, from the first Instance() to Destroy(); callers never delete it.
/// Threads: any; calls over the same files race in the file system. Every call blocks until its children have
/// ended.
/// Errors: only ExecuteCmd() reports one. The packing operations always return 1; what stands in \p out was
/// made by a command that could be started. Nothing is thrown on bad input.
class NBI_EXPORT ZipFileInterface {
public:
    /// Null only when there is no object yet and the static-object lock cannot be taken.
    static ZipFileInterface* Instance();
    static void Destroy();

    /// Fills paths and command prefixes; the constructor has done so.
    /// \return 1
    int init();

    /// The installation root followed by "/../".
    const std::string& GetBasePath() const { return m_BasePath; }
    /// The base path followed by "..".
    const std::string& GetParentPath() const { return m_ParentPath; }

    /// Runs one command to its end.
    /// \param workDir where it runs; empty: the current directory
    /// \param cmdLine at most MAX_COMMAND_LENGTH characters and MAX_COMMAND_WORDS words
    /// \return false, after one log line and the same words on standard output, when it could not be started.
    ///         errno then says why: what execve() or chdir() answered in the child, E2BIG for a command or an
    ///         environment that is too large, EINVAL for an empty command or a single "%", ENAMETOOLONG for a
    ///         directory of over 4,096 characters, EAGAIN for no process left.
    bool ExecuteCmd(const std::string& workDir, const std::string& cmdLine);

    /// Compresses each file by itself; gzip replaces the file by one with ".gz" appended.
    /// \param[in,out] out gets the names of the compressed files appended
    /// \return 1
    int ZipFile(const std::string& workDir, const std::list<std::string>& in, std::list<std::string>& out);

    /// Compresses each file by itself as ZipFile() does, but reports the stem with ".gz" appended, or with
    /// ".tar.gz" when \p bTar: the name of the result for tar archives only.
    /// \param in stays as it is
    /// \param[in,out] out gets the reported names appended
    /// \return 1
    int GZipFile(const std::string& workDir, std::list<std::string>& in, std::list<std::string>& out,
                 bool& bTar);

    /// Packs groups of \p nPerArchive files into tar archives, each named after its group's first file: its
    /// stem and ".tar". The files are looked up in \p workDir by their base names. Fewer files than a group
    /// stay in \p in for a later call. With \p nPerArchive below 1 nothing happens.
    ///
    /// Beware: every file of a full group is deleted right after its command, also when that command could
    /// not be started or failed, and the archive is reported in any case. Make sure that tar can run.
    /// \param[in,out] in loses the files of full groups
    /// \param[in,out] out gets the archives' names appended
    /// \return 1
    int TarFile(const std::string& workDir, std::list<std::string>& in, std::list<std::string>& out,
                long nPerArchive);

    /// Packs groups of \p nPerArchive files into zip archives, each named after its group's first file: its
    /// stem and ".zip". A group has to fit one command. Its files are deleted when zip could be started.
    ///
    /// Beware: after a group whose zip could not be started the next group begins with that group's last
    /// file, and when that one succeeds, everything in front of it leaves \p in, though it is still on disk.
    /// Each attempt counts as a group, so that as many names at the end stay unpacked.
    /// \param[in,out] in loses the names up to the last one packed
    /// \param[in,out] out gets the archives' names appended
    /// \return 1
    int ArchiveZipFile(std::string& workDir, std::list<std::string>& in, std::list<std::string>& out,
                       int nPerArchive);

private:
    ZipFileInterface();
    ~ZipFileInterface() = default;

    bool Compress(const std::string& workDir, const std::string& name);

    static std::atomic<ZipFileInterface*> m_pInstance;

    std::string m_BasePath;
    std::string m_ParentPath;
    std::string m_GzipCommand;
    std::string m_TarAppendCommand;
    std::string m_ZipCommand;
};

}  // namespace NS_UTIL
