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

    explicit Desk(const std::vector<Screen>& screens) {
        m_adaptors.emplace_back();
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

    bool dxFails = false;
    bool sourceFails = false;
    int senders = 0;  ///< Alive.

    /// What senders and source were told since the last call, in order:
    /// "dx init 0 0 1920 1080 30 OUT-0, dx start".
    std::string heard() { return std::exchange(m_told, {}); }

    Collaborators collaborators() {
        Collaborators all;
        all.screens = [this] { return m_screens; };
        all.adaptors = [this] { return m_adaptors; };
        all.outputDeviceName = findOutputDeviceName;
        all.createSource = [this](const std::string& name, NDIlib_send_instance_t& instance) {
            tell("source " + name);
            instance = sourceFails ? nullptr : reinterpret_cast<NDIlib_send_instance_t>(this);
        };
        all.destroySource = [this](NDIlib_send_instance_t) { tell("source gone"); };
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
            std::string line = "init ";
            for (int number : {x, y, w, h, framerate}) {
                line += std::to_string(number) + " ";
            }
            tell(line + outputName);
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
        void tell(const std::string& line) { m_desk.tell((m_dx ? "dx " : "grab ") + line); }
        Desk& m_desk;
        bool m_dx;
        bool m_opened = false;
    };

    void tell(const std::string& line) { m_told += (m_told.empty() ? "" : ", ") + line; }

    struScreensMsg m_screens;
    std::list<DeviceAdaptorInfo> m_adaptors;
    std::string m_told;
};
