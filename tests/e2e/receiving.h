#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "programrun.h"
#include "support/framecompare.h"

namespace e2e {

using namespace std::chrono_literals;

constexpr std::uint16_t kPort = 5961;  ///< Of the first source on a machine.

/// A test pattern on the screen, and checks of what arrives on the network. The parameter of the
/// capture path is used where a test has one.
class Receiving : public testing::TestWithParam<bool> {
protected:
    /// Waits until a receiver gets what the screen shows at `area`.
    void expectFrame(const ProgramRun& program, const QRect& area) {
        expectFrame(program, area, program.name());
    }
    void expectFrame(const ProgramRun& program, const QRect& area, const std::string& name) {
        expectFrame(name, area, [&] { return program.log().toStdString(); });
    }
    /// `explain` gives what a failed check adds.
    void expectFrame(const std::string& name, const QRect& area,
                     const std::function<std::string()>& explain) {
        const std::string file = path("received.png");
        std::string output;
        EXPECT_TRUE(tests::eventually(
            [&] {
                const auto monitor = startMonitor(
                    {name, "--wait", "20", "--seconds", "3", "--save", file}, path("monitor.out"));
                (void)monitor->waitFor(60s);
                output = monitor->output();
                m_received = QImage(QString::fromStdString(file));
                m_screen = grabScreen().copy(area);
                return tests::lumaPsnr(m_received, m_screen) >= 38;
            },
            60s))
            << output << explain();
    }

    /// Waits until the list of sources on the network contains, or lacks, that name.
    void expectListed(const std::string& name, bool listed) const {
        std::string sources;
        EXPECT_TRUE(tests::eventually(
            [&] {
                const auto monitor = startMonitor({"--list", "--wait", "2"}, path("list.out"));
                (void)monitor->waitFor(20s);
                sources = monitor->output();
                return (sources.find("(" + name + ")") != std::string::npos) == listed;
            },
            60s))
            << name << (listed ? " is not in " : " is in ") << sources;
    }

    /// The path of a file of this test.
    [[nodiscard]] std::string path(const char* name) const {
        return m_folder.filePath(name).toStdString();
    }

    QTemporaryDir m_folder;
    std::unique_ptr<tests::Process> m_pattern =
        showTestPattern(0, m_folder.filePath("frame.out").toStdString());
    const QImage m_desktop = grabScreen();
    QImage m_received;
    QImage m_screen;
};

}  // namespace e2e
