#include "cli/options.h"

#include <fmt/format.h>

#include <charconv>

#include "ndi/output/addressrange.h"
#include "ndi/wire/sourcename.h"
#include "support/utf8.h"

namespace cli {
namespace {

constexpr const char* kUsage = R"(Usage: ndisend [OPTION...]
       ndisend --list-screens [--json]
)";

constexpr const char* kFooter =
    R"(Sends until it is interrupted (Ctrl-C) or terminated.

Exit codes: 0 ended when asked to; 1 could not send: no such screen, region or interface, the name
is taken, or there is no display; 2 wrong usage.
)";

constexpr std::size_t kBrackets = 3;  // " (" and ")" of "MACHINE (name)"

/// The whole number that `text` begins with; `text` loses it. Empty: none, or too large.
std::optional<int> takeNumber(std::string_view& text) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || number > 1'000'000 || number < -1'000'000) {
        return std::nullopt;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return number;
}

bool take(std::string_view& text, char wanted) {
    const bool found = !text.empty() && text.front() == wanted;
    text.remove_prefix(found ? 1 : 0);
    return found;
}

void addSource(CLI::App& app, Options& options) {
    app.add_option("--screen", options.screen,
                   "The screen to send: its number, counted from 0, or the name of its\n"
                   "output; default: the primary one")
        ->type_name("N|NAME");
    app.add_option_function<std::string>(
           "--region", [&](const std::string& text) { options.region = parseRegion(text); },
           "The part of the screen to send, in the desktop's pixels; default: all of it")
        ->check([](const std::string& text) {
            return parseRegion(text) ? ""
                                     : fmt::format(
                                           "expected WIDTHxHEIGHT+X+Y, such as "
                                           "1280x720+100+50, not \"{}\"",
                                           text);
        })
        ->type_name("WxH+X+Y");
    app.add_option("--fps", options.frameRate, "Frames per second, 1 to 120; default 30")
        ->check([](const std::string& text) {
            std::string_view rest = text;
            const auto rate = takeNumber(rest);
            return rate && rest.empty() && *rate >= 1 && *rate <= kMostFrames
                       ? ""
                       : fmt::format("expected a whole number from 1 to {}, not \"{}\"",
                                     kMostFrames, text);
        })
        ->type_name("N");
    app.add_flag("--exact", options.exact, "Announce and send exactly this many frames per second");
    app.add_option("--name", options.name,
                   "Name of the source: receivers show \"MACHINE (NAME)\"; default: the\n"
                   "host name")
        ->check(checkName)
        ->type_name("NAME");
    app.add_flag("--pointer", options.pointer, "Show the pointer in the image");
    app.add_flag("--grab", options.grab, "Capture through FFmpeg's grabbing device");
}

void addNetwork(CLI::App& app, Options& options) {
    app.add_option("--interface", options.interfaces,
                   "Announce and accept connections on this network interface only: its\n"
                   "name or address; may be repeated")
        ->take_all()
        ->allow_extra_args(false)
        ->type_name("IF");
    app.add_option("--allow", options.allow,
                   "Refuse receivers that are not at this address or in this network, such\n"
                   "as 10.1.0.0/16; may be repeated")
        ->take_all()
        ->allow_extra_args(false)
        ->check([](const std::string& text) {
            return ndi::AddressRange::parse(text)
                       ? ""
                       : fmt::format(
                             "expected an address such as 10.0.0.7 or a network such as "
                             "10.1.0.0/16, not \"{}\"",
                             text);
        })
        ->type_name("NET");
}

void addOperation(CLI::App& app, Options& options) {
    app.add_option("--config", options.configFile,
                   "Read the settings in this file; options on the command line overrule it")
        ->check([](const std::string& file) { return file.empty() ? "must not be empty" : ""; })
        ->type_name("FILE.ini");
    app.add_flag("--control", options.control,
                 "Read commands from standard input and end with it: region WxH+X+Y,\n"
                 "screen N|NAME, pause, continue, status, quit; one JSON answer each");
    app.add_flag("--json", options.json, "Print the status as one line of JSON per second");
    app.add_flag("--list-screens", options.listScreens,
                 "Print the screens, one per line: number, name, size and place");
}

}  // namespace

std::optional<session::Rectangle> parseRegion(const std::string& text) {
    std::string_view rest = text;
    const auto w = takeNumber(rest);
    const bool first = w && take(rest, 'x');
    const auto h = first ? takeNumber(rest) : std::nullopt;
    const bool second = h && take(rest, '+');
    const auto x = second ? takeNumber(rest) : std::nullopt;
    const bool third = x && take(rest, '+');
    const auto y = third ? takeNumber(rest) : std::nullopt;
    if (!y || !rest.empty() || *w < 1 || *h < 1) {
        return std::nullopt;
    }
    return session::Rectangle{*x, *y, *w, *h};
}

std::string checkName(const std::string& name) {
    if (name.find_first_not_of(" \t\r\n") == std::string::npos) {
        return "must not be empty";
    }
    if (support::cleanUtf8(name) != name) {
        return "expected UTF-8 without control characters";
    }
    const std::string machine = ndi::wire::machineName();
    const std::string full = ndi::wire::instanceName(machine, name);
    if (ndi::wire::sourcePart(full) != name) {
        return fmt::format(
            "\"{}\" has {} bytes; \"{} (NAME)\" has at most {}, which leaves {} for the name", name,
            name.size(), machine, ndi::wire::kMaxInstanceName, ndi::wire::sourcePart(full).size());
    }
    return {};
}

support::Parsed<Options> parseOptions(const std::vector<std::string>& arguments) {
    Options options;
    CLI::App app("Publishes a screen, or a region of it, as a live NDI source. Needs no window.");
    support::prepareCommandLine(app, kUsage, kFooter);
    addSource(app, options);
    addNetwork(app, options);
    addOperation(app, options);
    return support::parseInto(
        options, app, "ndisend " TARSIN_VERSION, arguments, [](const auto& words) {
            return words.empty() ? "" : fmt::format("unexpected word \"{}\"", words.front());
        });
}

}  // namespace cli
