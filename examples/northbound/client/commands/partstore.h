/// \file
/// The parts of a collection that were brought so far, beside the file that they become.
#pragma once

#include <string>
#include <vector>

#include "client/commands/partlines.h"
#include "shared/descriptor.h"

namespace northbound {

/// Which samples a part has.
struct PartExtent {
    unsigned int m_nFirst = 0;
    unsigned int m_nSamples = 0;
};

/// Files beside \p file: "<file>.<operation>.<first>.part" for each part that has come whole, "<file>.draft" for what is being
/// written. A client that is killed leaves both; the next one goes on with the parts and replaces the draft. What cannot be
/// read or written is an InputError. Threads: one at a time; a second process with the same file is refused.
class PartStore {
public:
    PartStore(const std::string& file, const std::string& operation);
    /// The parts stay.
    ~PartStore();
    PartStore(const PartStore&) = delete;
    PartStore& operator=(const PartStore&) = delete;

    /// Whether the part is here, and whole.
    bool Has(const PartExtent& part) const;

    /// A part follows; what was added before and not kept is forgotten.
    void Begin();
    void Add(const char* pBytes, std::size_t nBytes);
    /// Keeps what was added since Begin().
    /// \return false, and nothing is kept, when that are not the lines of \p part
    bool Keep(const PartExtent& part);

    /// Makes the file of all \p parts, which are here, and removes them.
    /// \return false, and the parts stay, when they do not have the same columns
    bool Join(const std::vector<PartExtent>& parts);

private:
    std::string PathOf(const PartExtent& part) const;
    /// Opens the draft, unless it is, and keeps others from it.
    void Claim();
    void Write(const char* pBytes, std::size_t nBytes);
    void RenameTo(const std::string& path);
    /// \return whether \p heading, which is taken from the first part, is that of this part too
    bool Append(const PartExtent& part, std::string& heading);

    const std::string m_File;
    const std::string m_Operation;
    const std::string m_DraftPath;
    Descriptor m_Draft;
    PartLines m_Lines;
};

}  // namespace northbound
