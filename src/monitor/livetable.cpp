#include "monitor/livetable.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "support/terminal.h"
#include "support/utf8.h"

namespace monitor {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLineInterval{10};
constexpr std::size_t kFiguresWidth = 44;  ///< Of the columns behind the name.

std::string sizeOf(const Progress& progress) {
    return progress.video ? fmt::format("{}x{}", progress.video->width, progress.video->height)
                          : "";
}

std::size_t charactersOf(const std::string& utf8) {
    return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

/// `text` in exactly this number of characters.
std::string fitted(const std::string& text, std::size_t width) {
    std::size_t bytes = text.size();
    while (charactersOf(text.substr(0, bytes)) > width) {
        --bytes;
    }
    const auto cut = support::cutUtf8(text, bytes);
    return cut + std::string(width - charactersOf(cut), ' ');
}

}  // namespace

LiveTable::LiveTable(const std::vector<std::string>& names, bool inPlace)
    : m_inPlace(inPlace && support::terminalWidth()) {
    for (const auto& name : names) {
        m_rows.push_back(
            {support::cleanUtf8(name), {}, "connecting", false, Clock::now() + kLineInterval});
    }
}

void LiveTable::show(std::size_t index, const Progress& progress) {
    const std::lock_guard lock(m_mutex);
    auto& row = m_rows[index];
    row.progress = progress;
    if (m_inPlace) {
        draw();
    } else if (Clock::now() >= row.nextLine) {
        row.nextLine += kLineInterval;
        fmt::print(stderr, "{}: {}, {:.2f} fps, {:.2f} Mbit/s, {} dropped\n", row.name,
                   sizeOf(progress), progress.framesPerSecond, progress.megabitsPerSecond,
                   progress.dropped);
    }
}

void LiveTable::tell(std::size_t index, const std::string& line) {
    const std::lock_guard lock(m_mutex);
    auto& row = m_rows[index];
    row.event = line;
    if (m_inPlace) {
        draw();
    } else {
        fmt::print(stderr, "{}: {}\n", row.name, line);
    }
}

void LiveTable::end(std::size_t index, const std::string& reason) {
    const std::lock_guard lock(m_mutex);
    if (m_inPlace && !reason.empty()) {
        m_rows[index].event = reason;
        m_rows[index].failed = true;
        draw();
    }
}

/// Every line is cut to the terminal's width: a line that wraps would take two rows, and the cursor
/// would not come back to where the table began.
void LiveTable::draw() {
    const auto width =
        static_cast<std::size_t>(std::max(support::terminalWidth().value_or(80), 60));
    std::size_t longest = 4;
    for (const auto& row : m_rows) {
        longest = std::max(longest, charactersOf(row.name));
    }
    const auto nameWidth = std::min(longest, width - kFiguresWidth - 1);
    std::string text = m_drawn ? fmt::format("\x1B[{}A", m_rows.size() + 1) : "";
    const auto addLine = [&](const std::string& name, const std::string& rest) {
        text += "\r" + fitted(name, nameWidth) + fitted(rest, kFiguresWidth) + "\x1B[K\n";
    };
    addLine("Name", fmt::format("{:>12}{:>9}{:>12}{:>11}", "Size", "fps", "Mbit/s", "Dropped"));
    for (const auto& row : m_rows) {
        const auto& progress = row.progress;
        addLine(row.name, progress.video && !row.failed
                              ? fmt::format("{:>12}{:>9.2f}{:>12.2f}{:>11}", sizeOf(progress),
                                            progress.framesPerSecond, progress.megabitsPerSecond,
                                            progress.dropped)
                              : "   " + row.event);
    }
    fmt::print("{}", text);
    std::fflush(stdout);
    m_drawn = true;
}

}  // namespace monitor
