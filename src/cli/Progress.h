// The command line's progress line and its summary of documents left out.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <string_view>

namespace qm::cli {

/// "2,325": a count with a comma between thousands, as the summary shows it.
std::string withThousands(size_t n);

/// The line a long run keeps rewriting on a terminal: documents done of all,
/// documents per second, the current file, cut to `width` columns.
std::string progressText(size_t done, size_t total, double perSecond, std::string_view file, size_t width);

/// "3 of 2,325 documents could not be counted"; empty when none failed.
std::string failureSummary(size_t failed, size_t total);

/// Rewrites one line on stderr while a run goes on. It shows nothing in the
/// first second (a short run stays quiet) nor when stderr is not a terminal,
/// and rewrites at most ten times a second. Anything else printed on stderr
/// goes through print(), which clears the line first.
class ProgressLine {
public:
    using Clock = std::function<double()>; ///< seconds from any fixed point
    ProgressLine(std::ostream& err, bool enabled, Clock clock = {});

    void update(size_t done, size_t total, std::string_view file);
    /// Prints a line of its own (ended by a newline) above the progress line.
    void print(std::string_view line);
    /// Removes the progress line, if one is shown.
    void clear();

private:
    std::ostream& m_err;
    bool m_enabled;
    Clock m_clock;
    double m_start;
    double m_lastShown = -1;
    bool m_shown = false;
    size_t m_width = 80;
};

} // namespace qm::cli
