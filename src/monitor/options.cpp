#include "monitor/options.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <map>

namespace monitor {
namespace {

constexpr double kMaxSeconds = 1e7;

/// Walks over the arguments; the first error stays.
class Arguments {
public:
    explicit Arguments(const std::vector<std::string>& words) : m_words(words) {}

    [[nodiscard]] bool more() const { return m_next < m_words.size() && m_error.empty(); }
    [[nodiscard]] const std::string& word() { return m_words[m_next++]; }
    [[nodiscard]] const std::string& error() const { return m_error; }

    void fail(const std::string& what) {
        if (m_error.empty()) {
            m_error = what;
        }
    }

    std::string value(const std::string& option) {
        if (m_next >= m_words.size()) {
            fail(option + " needs a value");
            return {};
        }
        return m_words[m_next++];
    }

    double seconds(const std::string& option) {
        const std::string text = value(option);
        double number = 0;
        const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
        if (result.ec != std::errc() || result.ptr != text.data() + text.size() ||
            !(number > 0 && number <= kMaxSeconds)) {
            fail(fmt::format("{} wants a number of seconds above 0, not \"{}\"", option, text));
        }
        return number;
    }

    std::uint64_t count(const std::string& option) {
        const std::string text = value(option);
        std::uint64_t number = 0;
        const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
        if (result.ec != std::errc() || result.ptr != text.data() + text.size() || number == 0) {
            fail(fmt::format("{} wants a whole number above 0, not \"{}\"", option, text));
        }
        return number;
    }

    template <typename Value>
    Value choice(const std::string& option, const std::map<std::string, Value>& choices) {
        const std::string text = value(option);
        const auto found = choices.find(text);
        if (found != choices.end()) {
            return found->second;
        }
        std::string names;
        for (const auto& [name, ignored] : choices) {
            names += (names.empty() ? "" : " or ") + name;
        }
        fail(fmt::format("{} wants {}, not \"{}\"", option, names, text));
        return choices.begin()->second;
    }

private:
    const std::vector<std::string>& m_words;
    std::size_t m_next = 0;
    std::string m_error;
};

/// "HOST:PORT" or "[IPv6]:PORT".
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
        return false;  // An IPv6 address without brackets: where does the port begin?
    }
    return result.ec == std::errc() && result.ptr == end && port != 0;
}

void readWord(const std::string& word, Arguments& arguments, Options& options) {
    using Task = Options::Task;
    using Tally = Options::Tally;
    if (word == "--help" || word == "-h") {
        options.task = Task::Help;
    } else if (word == "--version") {
        options.task = Task::Version;
    } else if (word == "--list") {
        options.task = Task::List;
    } else if (word == "--all") {
        options.all = true;
    } else if (word == "--address") {
        options.address = arguments.value(word);
        if (!splitAddress(options.address, options.host, options.port)) {
            arguments.fail(fmt::format("--address wants HOST:PORT or [IPV6]:PORT, not \"{}\"",
                                       options.address));
        }
    } else if (word == "--wait") {
        options.waitSeconds = arguments.seconds(word);
    } else if (word == "--seconds") {
        options.seconds = arguments.seconds(word);
    } else if (word == "--frames") {
        options.frames = arguments.count(word);
    } else if (word == "--save") {
        options.saveFile = arguments.value(word);
    } else if (word == "--quality") {
        options.lowQuality = arguments.choice<bool>(word, {{"high", false}, {"low", true}});
    } else if (word == "--tally") {
        options.tally = arguments.choice<Tally>(
            word,
            {{"none", Tally::None}, {"preview", Tally::Preview}, {"program", Tally::Program}});
    } else if (word == "--stats") {
        options.stats = true;
    } else if (word == "--json") {
        options.json = true;
    } else if (word == "--no-decode") {
        options.decode = false;
    } else if (word.size() > 1 && word[0] == '-') {
        arguments.fail(fmt::format("unknown option {}", word));
    } else if (!options.name.empty()) {
        arguments.fail(
            fmt::format("two names, \"{}\" and \"{}\"; a name with blanks goes into quotes",
                        options.name, word));
    } else if (word.empty()) {
        arguments.fail("the name of the source is empty");
    } else {
        options.name = word;
    }
}

}  // namespace

std::variant<Options, UsageError> parseOptions(const std::vector<std::string>& words) {
    Options options;
    Arguments arguments(words);
    bool namesOnly = false;
    while (arguments.more()) {
        const std::string& word = arguments.word();
        if (word == "--" && !namesOnly) {
            namesOnly = true;
        } else if (namesOnly) {
            options.name = word;
        } else {
            readWord(word, arguments, options);
        }
    }
    if (!arguments.error().empty()) {
        return UsageError{arguments.error()};
    }
    const int wanted =
        int{!options.name.empty()} + int{!options.address.empty()} + int{options.all};
    if (options.task == Options::Task::Receive && wanted != 1) {
        return UsageError{wanted == 0 ? "name a source, or use --list, --address or --all"
                                      : "a name, --address and --all exclude each other"};
    }
    if (options.task == Options::Task::List && wanted != 0) {
        return UsageError{"--list lists every source: it goes with no name, --address or --all"};
    }
    return options;
}

const char* helpText() {
    return R"help(ndimonitor - lists the NDI sources on the network, or receives one

usage: ndimonitor --list [--wait S] [--json]
       ndimonitor NAME [OPTION...]
       ndimonitor --address HOST:PORT [OPTION...]
       ndimonitor --all [OPTION...]

NAME is the source's full name, "MACHINE (Name)", or what stands in the brackets when no other
source on the network has it too. The case of the letters A to Z does not matter.

  --list            the sources found, one a line: name, a tab, address:port
  --wait S          search for S seconds (5)
  --address H:P     connect to this address instead of searching
  --all             receive every source found, at once
  --frames N        end after N frames
  --seconds S       end S seconds after the connection was made
  --save FILE.png   write the last frame; with --all FILE-1.png, FILE-2.png ...
  --quality Q       high (the default), or low: the preview frame
  --tally T         tell the source that it is on: program, preview or none (the default)
  --stats           latency against the frames' timestamps: least, median, 99th percentile, most
  --json            the result as JSON on standard output
  --no-decode       do not decode every frame (damaged ones are not noticed)
  --help, --version

Without --frames and --seconds it receives until it is interrupted (Ctrl-C).

Exit codes: 0 done; 1 no such source, or nothing arrived; 2 wrong usage; 3 the source went away
before everything asked for had arrived; 4 the frame could not be saved.
)help";
}

}  // namespace monitor
