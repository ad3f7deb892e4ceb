#include "cli/plan.h"

#include <fmt/format.h>

#include <QFileInfo>
#include <QSettings>
#include <algorithm>
#include <charconv>

#include "mdns/netinterfaces.h"
#include "support/hostname.h"
#include "support/settings.h"

namespace cli {

using session::Rectangle;
using session::rectangleOf;
using session::ScreenList;
using session::Target;

namespace {

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
}

std::string outputOf(const ScreenList& list, int index) {
    return findOutputDeviceName(list.adaptors, list.screens.screens[index]);
}

std::string describeAll(const ScreenList& list) {
    std::string all;
    for (int i = 0; i != list.screens.count; ++i) {
        all += fmt::format("{}{} ({})", i == 0 ? "" : ", ", i, describeScreen(list, i));
    }
    return all;
}

int primaryScreen(const ScreenList& list) {
    for (int i = 0; i != list.screens.count; ++i) {
        if (list.screens.screens[i].isDefault != 0) {
            return i;
        }
    }
    return 0;
}

/// -1: there is no such screen.
int indexOf(const ScreenList& list, const std::string& screen) {
    int number = -1;
    const char* const end = screen.data() + screen.size();
    const auto result = std::from_chars(screen.data(), end, number);
    if (result.ec == std::errc() && result.ptr == end) {
        return number < list.screens.count ? number : -1;
    }
    for (int i = 0; i != list.screens.count; ++i) {
        if (lower(outputOf(list, i)) == lower(screen)) {
            return i;
        }
    }
    return -1;
}

/// What is wrong with the interfaces, "" if nothing is.
std::string checkInterfaces(const std::vector<std::string>& wanted) {
    if (wanted.empty()) {
        return {};
    }
    const auto present = mdns::multicastInterfaces();
    for (const std::string& one : wanted) {
        if (mdns::selectInterfaces(present, {one}).empty()) {
            std::string names;
            for (const auto& each : present) {
                names += (names.empty() ? "" : ", ") + each.name;
            }
            return fmt::format("no network interface \"{}\" with multicast is up; there is {}", one,
                               names.empty() ? "none" : names);
        }
    }
    return {};
}

std::string checkRate(const Config& config) {
    const int rate = config.saved.frameRate;
    return rate == -1 || (rate >= 1 && rate <= kMostFrames)
               ? ""
               : fmt::format("the settings file stores a frameRate of {}; expected is 1 to {}",
                             rate, kMostFrames);
}

std::string nameFor(const Options& options, const Config& config) {
    if (options.name) {
        return *options.name;
    }
    return config.saved.name.empty() ? support::hostName() : config.saved.name;
}

/// Screen, region and rate.
std::variant<Target, Failure> makeTarget(const Options& options, const Config& config,
                                         const ScreenList& list) {
    Target target;
    std::string error;
    const int stored = config.saved.screenIndex;
    const std::string screen = options.screen ? *options.screen
                               : stored >= 0  ? std::to_string(stored)
                                              : std::to_string(primaryScreen(list));
    if (!chooseScreen(list, screen, target, error)) {
        return Failure{kCouldNot, error};
    }
    if (options.region && !chooseRegion(*options.region, target, error)) {
        return Failure{kCouldNot, error};
    }
    if (error = options.frameRate ? "" : checkRate(config); !error.empty()) {
        return Failure{kUsage, error};
    }
    if (config.saved.frameRate > 0) {
        target.frameRate = config.saved.frameRate;
    }
    target.frameRate = options.frameRate.value_or(target.frameRate);
    return target;
}

}  // namespace

std::string describeScreen(const ScreenList& list, int index) {
    const auto& screen = list.screens.screens[index];
    const std::string output = outputOf(list, index);
    return fmt::format("{}{}x{} at {},{}", output.empty() ? "" : output + ", ", screen.width,
                       screen.height, screen.x, screen.y);
}

std::string geometry(const Rectangle& region) {
    return fmt::format("{}x{}+{}+{}", region.w, region.h, region.x, region.y);
}

std::variant<Config, Failure> readConfig(const std::string& file) {
    Config config;
    if (file.empty()) {
        return config;
    }
    const QString path = QString::fromLocal8Bit(file.c_str());
    if (!QFileInfo(path).isFile() || !QFileInfo(path).isReadable()) {
        return Failure{kUsage, fmt::format("the settings file {} can't be read", file)};
    }
    const QSettings settings(path, QSettings::IniFormat);
    if (settings.status() != QSettings::NoError || !settings.childGroups().contains("SystemSet")) {
        return Failure{kUsage,
                       fmt::format("{} is no settings file: expected is an INI file with the "
                                   "group SystemSet",
                                   file)};
    }
    config.saved = session::readSavedSettings(path);
    const auto read = [&path](const char* key) {
        return readIniList(path, "SystemSet", key).toStdString();
    };
    config.output = ndi::readOutputSettings(read);
    config.sender = sender::readSenderOptions(read);
    return config;
}

std::variant<Plan, Failure> makePlan(const Options& options, const Config& config,
                                     const ScreenList& list) {
    Plan plan;
    plan.output = config.output;
    plan.sender = config.sender;
    if (options.exact && plan.sender.rateMode == sender::RateMode::Paced) {
        plan.sender.rateMode = sender::RateMode::Exact;
    }
    plan.sender.drawPointer = plan.sender.drawPointer || options.pointer;
    if (!options.interfaces.empty()) {
        plan.output.networkInterfaces = options.interfaces;
    }
    if (!options.allow.empty()) {
        plan.output.allowedReceivers = options.allow;
    }
    const std::string name = nameFor(options, config);
    if (const std::string error = checkName(name); !error.empty()) {
        return Failure{kUsage, "the name of the source: " + error};
    }
    auto target = makeTarget(options, config, list);
    if (auto* failure = std::get_if<Failure>(&target)) {
        return *failure;
    }
    if (const auto error = checkInterfaces(plan.output.networkInterfaces); !error.empty()) {
        return Failure{kCouldNot, error};
    }
    plan.target = std::get<Target>(target);
    plan.target.senderName = name;
    plan.keepDisplayOn = config.saved.keepDisplayOn != 0;
    plan.forceGrab = options.grab || config.saved.forceUseOldCapture > 0;
    return plan;
}

bool chooseScreen(const ScreenList& list, const std::string& screen, Target& target,
                  std::string& error) {
    const int index = indexOf(list, screen);
    if (index < 0) {
        error = list.screens.count == 0
                    ? "no screen was found: is DISPLAY set, or is this a Wayland session?"
                    : fmt::format("no screen \"{}\"; there is {}", screen, describeAll(list));
        return false;
    }
    target.screenIndex = index;
    target.screen = list.screens.screens[index];
    target.output = outputOf(list, index);
    target.region = rectangleOf(target.screen);
    return true;
}

bool chooseRegion(const Rectangle& region, Target& target, std::string& error) {
    const Rectangle screen = rectangleOf(target.screen);
    if (region.w < session::kLeastSide || region.h < session::kLeastSide ||
        !contains(screen, region)) {
        error = fmt::format(
            "the region {} is not possible; screen {} has {}, and the least size "
            "is {}x{}",
            geometry(region), target.screenIndex, geometry(screen), session::kLeastSide,
            session::kLeastSide);
        return false;
    }
    target.region = region;
    return true;
}

}  // namespace cli
