/// \file
/// The other name of TestDirectory.
#pragma once

#include "support/testdirectory.h"

namespace nbitest {

using TempDir = TestDirectory;

}  // namespace nbitest
