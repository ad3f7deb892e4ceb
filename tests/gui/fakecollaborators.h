#pragma once
// Screens, outputs, an NDI source and senders for the window under test. They only record the
// calls.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "session/collaborators.h"

namespace tests {

class FakeCollaborators {
public:
    struct Screen {
        int x, y, w, h;
    };

    explicit FakeCollaborators(const std::vector<Screen>& screens) { arrange(screens); }

    /// These are the screens from now on, each with an output: OUT-0, OUT-1 ...
    void arrange(const std::vector<Screen>& screens) {
        m_screens = {};
        m_adaptors = {DeviceAdaptorInfo()};
        for (const Screen& screen : screens) {
            const std::string name = "OUT-" + std::to_string(m_screens.count);
            struScreenItem& item = m_screens.screens[m_screens.count++];
            item.x = static_cast<std::int16_t>(screen.x);
            item.y = static_cast<std::int16_t>(screen.y);
            item.width = static_cast<std::uint16_t>(screen.w);
            item.height = static_cast<std::uint16_t>(screen.h);
            m_adaptors.front().outputs.push_back(
                {screen.x, screen.y, screen.x + screen.w, screen.y + screen.h, name});
        }
    }

    /// With the screens of the X server.
    static FakeCollaborators onRealScreens() {
        FakeCollaborators fakes{{}};
        fakes.realScreens = true;
        return fakes;
    }

    bool realScreens = false;  ///< Those of the X server, with their outputs.
    bool dxFails = false;
    bool sourceFails = false;
    bool movable = false;      ///< Senders can move their region.
    std::string seenAs;        ///< The name on the network; empty: the one that is asked for.
    ndi::SourceStatus status;  ///< Replaced when a source is created.
    std::uint64_t passes = 0;  ///< Of every sender's thread.
    int senders = 0;           ///< Senders that exist now.
    CaptureStatus capture;     ///< Of every sender.

    /// The status of a source without receivers.
    static ndi::SourceStatus announcedAs(const std::string& sourceName) {
        ndi::SourceStatus status;
        status.known = true;
        status.sourceName = sourceName;
        status.name = "STATION (" + sourceName + ")";
        status.announceState = ndi::AnnounceState::Announced;
        return status;
    }

    /// The calls to senders and source since the last takeCalls(), in order:
    /// "dx init 0 0 1920 1080 30 OUT-0, dx start".
    [[nodiscard]] const std::string& calls() const { return m_calls; }
    std::string takeCalls() { return std::exchange(m_calls, {}); }

    Collaborators collaborators() {
        Collaborators all;
        all.screens = [this] {
            return realScreens ? ScreensDetector("local", "127.0.0.1").getScreens() : m_screens;
        };
        all.adaptors = [this] { return realScreens ? enumerateAdaptors() : m_adaptors; };
        all.outputDeviceName = findOutputDeviceName;
        all.createSource = [this](const std::string& name, NDIlib_send_instance_t& instance) {
            record("source " + name);
            status = announcedAs(seenAs.empty() ? name : seenAs);
            instance = sourceFails ? nullptr : reinterpret_cast<NDIlib_send_instance_t>(this);
        };
        all.destroySource = [this](NDIlib_send_instance_t) { record("source gone"); };
        all.sourceStatus = [this](NDIlib_send_instance_t) { return status; };
        all.sendBlackFrame = [this](NDIlib_send_instance_t, int width, int height,
                                    int /*frameRate*/) {
            record("black " + std::to_string(width) + " " + std::to_string(height));
        };
        all.makeDxSender = [this](const std::string& name, NDIlib_send_instance_t) {
            return std::make_unique<Sender>(*this, true, name);
        };
        all.makeGrabSender = [this](const std::string& name, NDIlib_send_instance_t) {
            return std::make_unique<Sender>(*this, false, name);
        };
        return all;
    }

private:
    class Sender : public NDISenderBase {
    public:
        Sender(FakeCollaborators& owner, bool dx, const std::string& name)
            : m_owner(owner), m_dx(dx) {
            ++owner.senders;
            record("new " + name);
        }
        ~Sender() override {
            --m_owner.senders;
            record("gone");
        }
        bool initParmeter(int x, int y, int w, int h, int framerate,
                          std::string outputName) override {
            EXPECT_FALSE(m_opened) << "initParmeter() without reset()";
            std::string line = "init ";
            for (int number : {x, y, w, h, framerate}) {
                line += std::to_string(number) + " ";
            }
            record(line + outputName);
            m_opened = w >= 1 && h >= 1 && !(m_dx && m_owner.dxFails);
            return m_opened;
        }
        void start() override { record("start"); }
        void pause() override { record("pause"); }
        void stop() override { record("stop"); }
        void reset() override {
            m_opened = false;
            record("reset");
        }
        [[nodiscard]] bool moveRegion(int x, int y) override {
            if (m_owner.movable) {
                record("move " + std::to_string(x) + " " + std::to_string(y));
            }
            return m_owner.movable;
        }
        [[nodiscard]] std::uint64_t passes() const override { return m_owner.passes; }
        [[nodiscard]] bool isDxSender() const override { return m_dx; }
        [[nodiscard]] CaptureStatus captureStatus() const override {
            CaptureStatus status = m_owner.capture;
            status.reason = m_dx && m_owner.dxFails ? "no duplication" : status.reason;
            return status;
        }
        void setAuxName(std::string name) override { record("aux " + name); }

    private:
        void record(const std::string& line) { m_owner.record((m_dx ? "dx " : "grab ") + line); }
        FakeCollaborators& m_owner;
        bool m_dx;
        bool m_opened = false;
    };

    void record(const std::string& line) { m_calls += (m_calls.empty() ? "" : ", ") + line; }

    struScreensMsg m_screens;
    std::list<DeviceAdaptorInfo> m_adaptors;
    std::string m_calls;
};

}  // namespace tests
