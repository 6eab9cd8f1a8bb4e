/// \file
/// Pictures, drawn by gnuplot.
#pragma once

#include <chrono>
#include <string>

namespace northbound {

/// Writes what gnuplot makes of \p script to \p path, by a draft "<path>.part" that takes its place: nobody finds half a
/// picture there, and the next one replaces a draft that a killed client has left.
/// \param patience for gnuplot, which is ended after that
/// \throws InputError when gnuplot is not installed, takes longer or fails, and when \p path is no place for a file
void DrawPicture(const std::string& script, const std::string& path, std::chrono::milliseconds patience);

}  // namespace northbound
