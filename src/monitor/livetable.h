#pragma once
// What several receptions report while they go on.

#include <chrono>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "monitor/receiver.h"

namespace monitor {

/// On a terminal, a table on standard output that is redrawn in place; elsewhere, lines on standard
/// error: every message at once, and the figures of every source every ten seconds. Any thread.
class LiveTable {
public:
    /// One row per name. `inPlace` asks for the table, if standard output is a terminal.
    LiveTable(const std::vector<std::string>& names, bool inPlace);

    /// Shows the progress of source number `index`.
    void show(std::size_t index, const Progress& progress);

    /// Reports an event of source number `index`.
    void tell(std::size_t index, const std::string& line);

    /// The reception has ended. The table shows `reason`, unless it is ""; the lines don't, because
    /// the report follows.
    void end(std::size_t index, const std::string& reason);

private:
    struct Row {
        std::string name;
        Progress progress;
        std::string event;    ///< Shown until there are figures, and at the end.
        bool failed = false;  ///< Ended with a reason.
        std::chrono::steady_clock::time_point nextLine;
    };

    void draw();

    std::mutex m_mutex;
    std::vector<Row> m_rows;
    const bool m_inPlace;
    bool m_drawn = false;
};

}  // namespace monitor
