/// \file
/// What a command makes of bad input.
#pragma once

#include <stdexcept>

namespace northbound {

/// What the user gave cannot be read; what() is one line that names it.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace northbound
