#pragma once
// From options, settings file and screens to what is sent.

#include <string>
#include <variant>

#include "cli/options.h"
#include "ndi/outputsettings.h"
#include "sender/senderoptions.h"
#include "session/savedsettings.h"
#include "session/screenlist.h"
#include "session/sendsession.h"

namespace cli {

enum ExitCode { kDone = 0, kCouldNot = 1, kUsage = 2 };

/// Why nothing is sent: one line for the user.
struct Failure {
    ExitCode code = kCouldNot;
    std::string message;
};

/// The settings file; without one, nothing is stored.
struct Config {
    session::SavedSettings saved;
    ndi::OutputSettings output;
    sender::SenderOptions sender;
};

struct Plan {
    session::Target target;  ///< Its senderName is the name of the source.
    bool forceGrab = false;
    bool keepDisplayOn = true;
    ndi::OutputSettings output;
    sender::SenderOptions sender;
};

/// Fails for a file that can't be read or has no group `SystemSet`. "": no file.
[[nodiscard]] std::variant<Config, Failure> readConfig(const std::string& file);

[[nodiscard]] std::variant<Plan, Failure> makePlan(const Options& options, const Config& config,
                                                   const session::ScreenList& list);

/// Chooses a screen by number or name, all of it. `error` receives what is wrong and what there is.
[[nodiscard]] bool chooseScreen(const session::ScreenList& list, const std::string& screen,
                                session::Target& target, std::string& error);

/// Chooses a region of the target's screen. `error` receives what is wrong and what is possible.
[[nodiscard]] bool chooseRegion(const session::Rectangle& region, session::Target& target,
                                std::string& error);

/// "DP-1, 1920x1080 at 0,0"
[[nodiscard]] std::string describeScreen(const session::ScreenList& list, int index);

/// "1280x720+100+50"
[[nodiscard]] std::string geometry(const session::Rectangle& region);

}  // namespace cli
