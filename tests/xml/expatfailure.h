/// \file
/// An expat that fails: the test program has some of its functions in front of the library's.
#pragma once

namespace nbitest {

/// While it lives, expat gives no parser.
class NoExpatParser {
public:
    NoExpatParser();
    ~NoExpatParser();
    NoExpatParser(const NoExpatParser&) = delete;
    NoExpatParser& operator=(const NoExpatParser&) = delete;
};

/// While it lives, expat gives no room for a piece, after the first \p nWork times.
class NoExpatBuffer {
public:
    explicit NoExpatBuffer(int nWork);
    ~NoExpatBuffer();
    NoExpatBuffer(const NoExpatBuffer&) = delete;
    NoExpatBuffer& operator=(const NoExpatBuffer&) = delete;
};

}  // namespace nbitest
