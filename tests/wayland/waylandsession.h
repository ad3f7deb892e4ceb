#pragma once
// The session that scripts/with-wayland.sh made, as a test handles it.

#include <QImage>
#include <string>

namespace tests {

/// What sway is told to do; several commands are joined by semicolons.
void sway(const std::string& command);

/// What an output shows now, by sway's own account.
[[nodiscard]] QImage screenshot(const std::string& output);

/// Fills an output with a pattern of its own for each `seed`, and waits until it is shown.
void showPattern(const std::string& output, unsigned seed);

/// Fills an output with a smooth image, and waits until it is shown.
void showGradient(const std::string& output);

/// Fills an output with one colour, "#rrggbb".
void showColour(const std::string& output, const std::string& colour);

/// The output that the portal's chooser picks; "": it declines.
void pick(const std::string& output);

/// How often the chooser was asked.
[[nodiscard]] int timesAsked();

/// Ends, kills or starts a part as scripts/wayland-part.sh does.
void sessionPart(const std::string& action, const std::string& part);

}  // namespace tests
