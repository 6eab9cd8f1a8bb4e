/// \file
/// An expat that fails and is watched: the test program has some of its functions in front of the library's.
#pragma once

#include <functional>

namespace nbitest {

/// While it lives, expat gives no parser.
class NoExpatParser {
public:
    NoExpatParser();
    ~NoExpatParser();
    NoExpatParser(const NoExpatParser&) = delete;
    NoExpatParser& operator=(const NoExpatParser&) = delete;
};

/// Parsers that expat gave and that were not given back.
int ParsersAlive();

/// While it lives, expat gives no room for a piece, after the first \p nWork times.
class NoExpatBuffer {
public:
    explicit NoExpatBuffer(int nWork);
    ~NoExpatBuffer();
    NoExpatBuffer(const NoExpatBuffer&) = delete;
    NoExpatBuffer& operator=(const NoExpatBuffer&) = delete;
};

/// While it lives, \p look is called whenever expat is asked for room: in the middle of a file.
class WheneverExpatGivesABuffer {
public:
    explicit WheneverExpatGivesABuffer(std::function<void()> look);
    ~WheneverExpatGivesABuffer();
    WheneverExpatGivesABuffer(const WheneverExpatGivesABuffer&) = delete;
    WheneverExpatGivesABuffer& operator=(const WheneverExpatGivesABuffer&) = delete;
};

}  // namespace nbitest
