#include "client/view/screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>

namespace northbound {
namespace {

std::string Environment(const char* pName)
{
    const char* const pValue = std::getenv(pName);
    return pValue == nullptr ? "" : pValue;
}

Screen ScreenOf(int nFile)
{
    const std::string type = Environment("TERM");
    if (isatty(nFile) == 0 || type.empty() || type == "dumb") return {};
    Screen screen{80, 24, Environment("NO_COLOR").empty()};
    winsize size{};
    if (ioctl(nFile, TIOCGWINSZ, &size) != 0) return screen;
    if (size.ws_col > 0) screen.m_nColumns = size.ws_col;
    if (size.ws_row > 0) screen.m_nRows = size.ws_row;
    return screen;
}

std::string Styled(const char* pStyle, const std::string& text, const Screen& screen)
{
    return screen.m_bStyled ? pStyle + text + "\033[0m" : text;
}

}  // namespace

Screen OutputScreen()
{
    return ScreenOf(STDOUT_FILENO);
}

Screen ErrorScreen()
{
    return ScreenOf(STDERR_FILENO);
}

std::string Bold(const std::string& text, const Screen& screen)
{
    return Styled("\033[1m", text, screen);
}

std::string Red(const std::string& text, const Screen& screen)
{
    return Styled("\033[31m", text, screen);
}

}  // namespace northbound
