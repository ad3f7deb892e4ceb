#pragma once
// A desk for the window under test: screens, outputs, an NDI source and senders that only write
// down what they are told.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ui/collaborators.h"

class Desk {
public:
    struct Screen {
        int x, y, w, h;
    };

    explicit Desk(std::vector<Screen> screens) : m_screens(std::move(screens)) {}

    /// What senders and source were told, in order: "dx init 0 0 1920 1080 30 OUT-0".
    std::vector<std::string> told;
    bool dxFails = false;
    bool sourceFails = false;
    int senders = 0;  ///< Alive.

    /// Returns what was told since the last call.
    std::vector<std::string> heard() { return std::exchange(told, {}); }

    Collaborators collaborators() {
        Collaborators all;
        all.screens = [this] { return screensMsg(); };
        all.adaptors = [this] { return adaptors(); };
        all.outputDeviceName = [](const auto& adaptors, const struScreenItem& screen) {
            for (const auto& output : adaptors.front().outputs) {
                if (output.left == screen.x && output.top == screen.y) {
                    return output.deviceName;
                }
            }
            return std::string();
        };
        all.createSource = [this](const std::string& name, NDIlib_send_instance_t& instance) {
            told.push_back("source " + name);
            instance = sourceFails ? nullptr : reinterpret_cast<NDIlib_send_instance_t>(&m_source);
        };
        all.destroySource = [this](NDIlib_send_instance_t) { told.push_back("source gone"); };
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
        Sender(Desk& desk, bool dx, const std::string& name) : m_desk(desk), m_dx(dx) {
            ++desk.senders;
            tell("new " + name);
        }
        ~Sender() override {
            --m_desk.senders;
            tell("gone");
        }
        bool initParmeter(int x, int y, int w, int h, int framerate,
                          std::string outputName) override {
            EXPECT_FALSE(m_opened) << "parameters need a reset first";
            std::string line = "init";
            for (int number : {x, y, w, h, framerate}) {
                line += " " + std::to_string(number);
            }
            tell(line + " " + outputName);
            m_opened = w >= 1 && h >= 1 && !(m_dx && m_desk.dxFails);
            return m_opened;
        }
        void start() override { tell("start"); }
        void pause() override { tell("pause"); }
        void stop() override { tell("stop"); }
        void reset() override {
            m_opened = false;
            tell("reset");
        }
        [[nodiscard]] bool isDxSender() const override { return m_dx; }
        void setAuxName(std::string name) override { tell("aux " + name); }

    private:
        void tell(const std::string& line) {
            m_desk.told.push_back((m_dx ? "dx " : "grab ") + line);
        }
        Desk& m_desk;
        bool m_dx;
        bool m_opened = false;
    };

    [[nodiscard]] struScreensMsg screensMsg() const {
        struScreensMsg all;
        for (const Screen& screen : m_screens) {
            struScreenItem& item = all.screens[all.count++];
            item.x = static_cast<std::int16_t>(screen.x);
            item.y = static_cast<std::int16_t>(screen.y);
            item.width = static_cast<std::uint16_t>(screen.w);
            item.height = static_cast<std::uint16_t>(screen.h);
        }
        return all;
    }

    [[nodiscard]] std::list<DeviceAdaptorInfo> adaptors() const {
        DeviceAdaptorInfo adaptor;
        for (std::size_t i = 0; i < m_screens.size(); ++i) {
            const Screen& screen = m_screens[i];
            adaptor.outputs.push_back({screen.x, screen.y, screen.x + screen.w, screen.y + screen.h,
                                       "OUT-" + std::to_string(i)});
        }
        return {adaptor};
    }

    std::vector<Screen> m_screens;
    int m_source = 0;
};
