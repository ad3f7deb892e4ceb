#include "monitor/options.h"

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <charconv>
#include <filesystem>

namespace monitor {
namespace {

constexpr double kMaxSeconds = 1e7;
constexpr const char* kSourceGroup = "Sources";

constexpr const char* kUsage = R"(Usage: ndimonitor --list [--wait S | --watch] [--json]
       ndimonitor NAME [OPTION...]
       ndimonitor --address HOST:PORT [OPTION...]
       ndimonitor --all [OPTION...]
       ndimonitor NAME --view [--quality QUALITY] [--tally TALLY]
       ndimonitor --doctor [--wait S] [--json]
)";

constexpr const char* kFooter =
    R"(Without --frames and --seconds it receives until it is interrupted (Ctrl-C).

Exit codes: 0 done; 1 no such source, or nothing arrived, or --doctor found a problem; 2 wrong usage;
3 the source disconnected before everything asked for had arrived; 4 the image could not be saved.
)";

/// Refuses what is not a number above 0 and up to `maximum`; `what` says which kind of number.
template <typename Number>
CLI::Validator above0(const std::string& what, Number maximum) {
    const auto check = [=](const std::string& text) {
        Number number{};
        const char* const end = text.data() + text.size();
        const auto result = std::from_chars(text.data(), end, number);
        const bool valid = result.ec == std::errc() && result.ptr == end && number > 0;
        return valid && number <= maximum ? std::string()
                                          : fmt::format("expected {}, not \"{}\"", what, text);
    };
    return {check, ""};
}

const CLI::Validator kSeconds = above0("a number of seconds above 0", kMaxSeconds);
const CLI::Validator kCount = above0("a whole number above 0", UINT64_MAX);

/// Takes "HOST:PORT" or "[IPv6]:PORT" apart.
bool splitAddress(const std::string& text, std::string& host, std::uint16_t& port) {
    const auto colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) {
        return false;
    }
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data() + colon + 1, end, port);
    host = text.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
        host = host.substr(1, host.size() - 2);
    } else if (host.find(':') != std::string::npos) {
        return false;  // An IPv6 address without brackets: the port can't be told from it.
    }
    return result.ec == std::errc() && result.ptr == end && port != 0;
}

void addSources(CLI::App& app, Options& options) {
    app.add_option("NAME", options.name,
                   "Receive from the source with this full name, \"MACHINE (Name)\", or the "
                   "only one\nwith this name in brackets. The case of A to Z is ignored.")
        ->check([](const std::string& name) { return name.empty() ? "must not be empty" : ""; })
        ->type_name("");
    auto* list = app.add_flag_callback(
        "--list", [&] { options.task = Options::Task::List; },
        "Print the sources found, one per line: name, tab, address:port");
    list->group(kSourceGroup);
    app.add_flag("--watch", options.watch,
                 "With --list: go on, and print sources as they appear and disappear")
        ->needs(list)
        ->group(kSourceGroup);
    app.add_option("--address", options.address, "Receive from this address without searching")
        ->check([&](const std::string& text) {
            return splitAddress(text, options.host, options.port)
                       ? std::string()
                       : fmt::format("expected HOST:PORT or [IPV6]:PORT, not \"{}\"", text);
        })
        ->type_name("HOST:PORT")
        ->group(kSourceGroup);
    app.add_flag("--all", options.all, "Receive from every source found, at the same time")
        ->group(kSourceGroup);
    app.add_flag_callback(
           "--doctor", [&] { options.task = Options::Task::Doctor; },
           "Find out why sources are not visible, or a screen is not captured")
        ->excludes(list)
        ->group(kSourceGroup);
    app.add_option("--wait", options.waitSeconds, "Duration of the search in seconds")
        ->check(kSeconds)
        ->type_name("S")
        ->capture_default_str()
        ->group(kSourceGroup);
}

/// Why the sources named are too many or too few; "" if they are not.
std::string checkSources(const Options& options) {
    const int count = int{options.task != Options::Task::Receive} + int{!options.name.empty()} +
                      int{!options.address.empty()} + int{options.all};
    return count == 0  ? "name a source, or use --list, --address, --all or --doctor"
           : count > 1 ? "a source's name, --list, --address, --all and --doctor exclude each other"
                       : "";
}

void addReception(CLI::App& app, Options& options) {
    app.add_option("--frames", options.frames, "End after this many frames")
        ->check(kCount)
        ->type_name("N");
    app.add_option("--seconds", options.seconds, "End this many seconds after connecting")
        ->check(kSeconds)
        ->type_name("S");
    app.add_option_function<std::string>(
           "--quality", [&](const std::string& text) { options.lowQuality = text == "low"; },
           "high: main stream (default); low: preview stream")
        ->check(CLI::IsMember({"high", "low"}))
        ->type_name("QUALITY");
    app.add_option_function<std::string>(
           "--tally",
           [&](const std::string& text) {
               options.tally = text == "program"   ? Options::Tally::Program
                               : text == "preview" ? Options::Tally::Preview
                                                   : Options::Tally::None;
           },
           "Tally to send to the source; default none")
        ->check(CLI::IsMember({"program", "preview", "none"}))
        ->type_name("TALLY");
}

void addOutput(CLI::App& app, Options& options) {
    auto* view = app.add_flag("--view", options.view, "Show the source in a window");
    app.add_option("--save", options.saveFile,
                   "Save the last frame; with --all: FILE-1.png, FILE-2.png ...")
        ->check([](const std::string& file) {
            return CLI::detail::to_lower(std::filesystem::path(file).extension().string()) == ".png"
                       ? std::string()
                       : fmt::format("expected a file name ending in .png, not \"{}\"", file);
        })
        ->type_name("FILE.png");
    app.add_flag("--stats", options.stats, "Print the latency: time of arrival minus timestamp");
    app.add_flag("--json", options.json, "Print the result as JSON on standard output");
    app.add_flag_callback(
        "--no-decode", [&] { options.decode = false; },
        "Don't decode, only count; damaged frames are not detected");
    for (const char* other : {"--list", "--all", "--doctor", "--frames", "--seconds", "--save",
                              "--json", "--stats", "--no-decode"}) {
        view->excludes(app.get_option(other));
    }
}

/// What is wrong with the words that no option took, and with the sources; "" if nothing is.
std::string check(const std::vector<std::string>& words, const Options& options) {
    return words.empty()
               ? checkSources(options)
               : fmt::format("two names, \"{}\" and \"{}\"; put a name with spaces in quotes",
                             options.name, words.front());
}

}  // namespace

support::Parsed<Options> parseOptions(const std::vector<std::string>& arguments) {
    Options options;
    CLI::App app("Lists the NDI sources on the network, or receives from them.");
    support::prepareCommandLine(app, kUsage, kFooter);
    addSources(app, options);
    addReception(app, options);
    addOutput(app, options);
    return support::parseInto(options, app, "ndimonitor " TARSIN_VERSION, arguments,
                              [&](const auto& words) { return check(words, options); });
}

}  // namespace monitor
