/// \file
/// Names of servers as a test has them, in front of the system's.
#pragma once

namespace northbound {

/// While it lives, the search for "hangs.example" does not end. Besides, in a program with fakenames.cpp "two.example" stands for
/// 127.0.0.2 and then 127.0.0.1, "six.example" for 2001:db8::7, and "unknown.example" for nothing.
class HangingName {
public:
    HangingName();
    /// Returns when nobody searches for it any more.
    ~HangingName();
    HangingName(const HangingName&) = delete;
    HangingName& operator=(const HangingName&) = delete;
};

}  // namespace northbound
