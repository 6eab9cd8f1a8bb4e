/// \file
/// How many objects from operator new are alive: nbi_test(task/ad_test.cpp SOURCES support/livecount.cpp).
/// The program's own operator new and delete count for every library in it.
#pragma once

namespace nbitest {

long LiveAllocations();

}  // namespace nbitest
