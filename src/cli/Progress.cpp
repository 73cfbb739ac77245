// The command line's progress line and its summary of documents left out.
#include "cli/Progress.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace qm::cli {

std::string withThousands(size_t n)
{
    std::string digits = std::to_string(n);
    for (size_t i = digits.size(); i > 3; i -= 3)
        digits.insert(i - 3, ",");
    return digits;
}

std::string progressText(size_t done, size_t total, double perSecond, std::string_view file, size_t width)
{
    char rate[32];
    std::snprintf(rate, sizeof rate, "%.0f", perSecond);
    std::string text = withThousands(done) + "/" + withThousands(total) + " documents, " + rate + "/s  ";
    if (text.size() >= width)
        return text.substr(0, width);
    const size_t room = width - text.size();
    // A long path keeps its end, where the file's name is.
    if (file.size() > room)
        text += room > 3 ? "..." + std::string(file.substr(file.size() - (room - 3))) : "";
    else
        text += file;
    return text;
}

std::string failureSummary(size_t failed, size_t total)
{
    if (failed == 0)
        return {};
    return withThousands(failed) + " of " + withThousands(total) + (total == 1 ? " document" : " documents") +
           " could not be counted";
}

namespace {

double steadySeconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

size_t terminalWidth()
{
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 10)
        return size.ws_col - 1;
    return 79;
}

} // namespace

ProgressLine::ProgressLine(std::ostream& err, bool enabled, Clock clock)
    : m_err(err), m_enabled(enabled), m_clock(clock ? std::move(clock) : Clock(steadySeconds)), m_start(m_clock())
{
    if (m_enabled)
        m_width = terminalWidth();
}

void ProgressLine::update(size_t done, size_t total, std::string_view file)
{
    if (!m_enabled)
        return;
    const double now = m_clock();
    const double elapsed = now - m_start;
    if (elapsed < 1.0 || (m_lastShown >= 0 && now - m_lastShown < 0.1))
        return;
    m_lastShown = now;
    m_err << "\r" << progressText(done, total, done / elapsed, file, m_width) << "\x1b[K" << std::flush;
    m_shown = true;
}

void ProgressLine::print(std::string_view line)
{
    clear();
    m_err << line << "\n";
}

void ProgressLine::clear()
{
    if (m_shown)
        m_err << "\r\x1b[K" << std::flush;
    m_shown = false;
}

} // namespace qm::cli
