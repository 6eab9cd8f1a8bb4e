// Some request handlers, with nothing of a server around them.
#pragma once

#include <string>

constexpr unsigned int NO_SUCH_PORT = 0x50000001U;

/// The port's speed in Mbit/s, from the file "ports.res" below the root; its log has a line for each question.
/// \throws ProcessException with NO_SUCH_PORT
int SpeedOf(const std::string& port);

/// SpeedOf() on a worker, at most so many of them as the item "SpeedTasks" says (4).
int AskForSpeed(const std::string& port);
