/// \file
/// Packing of the collection files that wait in the work directory.
#pragma once

#include <cstddef>
#include <list>
#include <mutex>
#include <string>

namespace northbound {

enum class PackMethod { GZIP, TAR, ZIP };

struct PackOutcome {
    std::list<std::string> m_Archives;  // full paths of archives that are there and whole
    std::size_t m_nWaiting = 0;         // collection files that are still unpacked
};

/// Packs the finished collection files of one directory with the library's archive interface. Afterwards the
/// directory holds exactly the files that were not packed, and the archives.
///
/// The archive interface deletes what it was told to pack, tar even when its command failed. So the files get
/// a second name in a folder beside them first, and those that are not in a whole archive afterwards come
/// back from there; a server that was killed in between finds them at its next packing. Threads: any; one
/// packing at a time.
class Packer {
public:
    explicit Packer(std::string directory);

    /// \param nPerArchive files in one archive of tar or zip, at least 1; a rest that makes no full group
    /// waits for a
    ///                    later call. zip groups may be smaller, as many as fit a command. gzip packs each
    ///                    file alone.
    /// \throws ProcessException CANNOT_PACK when the method's program cannot be started; nothing has changed
    /// then.
    /// \throws ProcessException FILE_NOT_WRITTEN when the files cannot get their second names.
    PackOutcome Pack(PackMethod method, std::size_t nPerArchive);

    /// Gives files that a killed server had secured their first names again, and removes the archives that it had not
    /// seen whole. To be called before others pack.
    /// \return how many files came back
    std::size_t RecoverAll();

    /// No packing is under way while the caller holds this.
    std::unique_lock<std::mutex> Pause() { return std::unique_lock<std::mutex>(m_Mutex); }
    /// Owns nothing while one is.
    std::unique_lock<std::mutex> TryPause() { return {m_Mutex, std::try_to_lock}; }

private:
    std::list<std::string> WaitingFiles() const;
    void Secure(const std::list<std::string>& files) const;
    void Recover() const;
    std::list<std::string> Run(PackMethod method, std::size_t nPerArchive,
                               const std::list<std::string>& files) const;
    std::list<std::string> Call(PackMethod method, std::size_t nPerArchive,
                                std::list<std::string> files) const;
    std::string SecondName(const std::string& file) const;

    const std::string m_Directory;
    const std::string m_SecondNames;  // folder of the second names
    std::mutex m_Mutex;               // one packing at a time
};

}  // namespace northbound
