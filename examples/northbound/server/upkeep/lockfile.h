/// \file
/// A file that says by its lock, and not by being there, that something is one process's own.
#pragma once

#include <string>

#include "shared/descriptor.h"

namespace northbound {

/// Tries once to lock \p path, which it makes when needed, and keeps the lock until it is destroyed or the process ends,
/// however that happens. The file stays behind, and means nothing then; it holds the number of the process that has or
/// had the lock.
class LockFile {
public:
    explicit LockFile(const std::string& path);

    bool IsHeld() const { return m_File.IsOpen(); }

    /// Why the file could not be opened; "" when it could.
    const std::string& Fault() const { return m_Fault; }

    /// The process that has the lock, as far as its file tells; "" when this object has it.
    const std::string& Holder() const { return m_Holder; }

private:
    Descriptor m_File;
    std::string m_Fault;
    std::string m_Holder;
};

}  // namespace northbound
