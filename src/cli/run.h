#pragma once

#include <QObject>
#include <QTimer>
#include <string>

#include "cli/platform.h"
#include "cli/publisher.h"

namespace cli {

/// Sends until it is asked to end: tells the status, obeys commands, keeps the service manager
/// informed. One thread, that of the event loop.
class Run : public QObject {
public:
    /// `console` and `publisher`, which sends already, outlive this object.
    Run(const Options& options, const Console& console, Publisher& publisher);

    /// Returns when sending has ended and the source has been withdrawn.
    void toTheEnd();

private:
    void showStatus();
    void showCapture();
    void obey(const std::string& line);
    [[nodiscard]] std::string carryOut(const std::string& command, const std::string& argument);
    void print(const std::string& text, std::chrono::milliseconds patience = {});
    void every(std::chrono::milliseconds interval, std::function<void()> action);
    void startWatchdog();

    const Options& m_options;
    const Console& m_console;
    Publisher& m_publisher;
    const ServiceManager m_manager;
    bool m_outputClosed = false;
    std::string m_problem;  ///< When the capture was looked at last.
    int m_looks = 0;        ///< How often it was the same since.
};

}  // namespace cli
