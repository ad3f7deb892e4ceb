#include "support/commandline.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <memory>
#include <sstream>

namespace support {
namespace {

class Formatter : public CLI::Formatter {
public:
    explicit Formatter(std::string usage) : m_usage(std::move(usage)) {}
    [[nodiscard]] std::string make_usage(const CLI::App* /*app*/,
                                         std::string /*name*/) const override {
        return m_usage;
    }

private:
    const std::string m_usage;
};

/// What is wrong with the words that no option took: an unknown option, or what `check` says.
std::string describeExtras(std::vector<std::string> words, const CheckWords& check) {
    const auto namesOnly = std::find(words.begin(), words.end(), "--");
    const auto option = std::find_if(words.begin(), namesOnly,
                                     [](const auto& word) { return word.rfind('-', 0) == 0; });
    if (option != namesOnly) {
        return "unknown option " + *option;
    }
    words.erase(std::remove(words.begin(), words.end(), "--"), words.end());
    return check(words);
}

std::string parse(CLI::App& app, const std::vector<std::string>& arguments,
                  const CheckWords& check) {
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ArgumentMismatch& mismatch) {
        const std::string what = mismatch.what();
        return what.substr(0, what.find(':')) + ": the value is missing";
    } catch (const CLI::Success&) {
        throw;
    } catch (const CLI::ParseError& other) {
        return other.what();
    }
    return describeExtras(app.remaining(), check);
}

}  // namespace

void prepareCommandLine(CLI::App& app, const std::string& usage, const std::string& footer) {
    app.formatter(std::make_shared<Formatter>(usage));
    app.footer(footer);
    app.allow_windows_style_options(false);  // "/x" is a name on every platform.
    app.allow_extras();                      // describeExtras() has the better messages.
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

std::optional<std::variant<UsageError, Information>> parseArguments(
    CLI::App& app, const std::string& version, const std::vector<std::string>& arguments,
    const CheckWords& check) {
    app.set_help_flag("-h,--help", "Print this help");
    app.set_version_flag("--version", version, "Print the version");
    try {
        const std::string error = parse(app, arguments, check);
        if (!error.empty()) {
            return UsageError{error};
        }
    } catch (const CLI::Success& asked) {
        std::ostringstream text;
        app.exit(asked, text, text);
        return Information{text.str()};
    }
    return {};
}

}  // namespace support
